// JPEG files for tests, made and read back by the library itself, and EXIF blocks written from their definition.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Three bytes a pixel, from the top down.
struct TestPicture {
    int width = 0, height = 0;
    std::vector<std::uint8_t> rgb;
    const std::uint8_t* at(int x, int y) const { return rgb.data() + (y * width + x) * 3; }
};
// Noise that is the same in every run, or one colour.
TestPicture noise_picture(int width, int height, unsigned seed = 1);
TestPicture plain_picture(int width, int height, std::uint8_t red, std::uint8_t green, std::uint8_t blue);

enum class JpegKind { baseline, progressive, grey, cmyk };
std::string jpeg_bytes(const TestPicture& picture, JpegKind kind = JpegKind::baseline);
// Grey comes back in three equal channels. What cannot be decoded ends the program with the library's message.
TestPicture jpeg_pixels(std::string_view jpeg);

// A JPEG of segments alone: SOI, the given ones, a frame header of this size.
std::string jpeg_segment(unsigned marker, std::string_view body);
std::string jpeg_head(const std::vector<std::string>& segments, int width, int height);

// The APP1 segment of an EXIF block. Texts are ASCII entries, with the NUL that they have to have.
class ExifBlock {
public:
    explicit ExifBlock(bool little_endian) : little_endian_(little_endian) {}

    enum Directory { kIfd0, kExif, kIfd1 };
    ExifBlock& text(Directory directory, unsigned tag, std::string_view value);
    ExifBlock& short_value(Directory directory, unsigned tag, unsigned value);
    ExifBlock& long_value(Directory directory, unsigned tag, std::uint32_t value);
    // An entry as it stands: type, count and the four bytes of its value.
    ExifBlock& raw(Directory directory, unsigned tag, unsigned type, std::uint32_t count, std::uint32_t value);

    std::string tiff() const;
    std::string segment() const;

private:
    struct Entry {
        unsigned tag, type;
        std::uint32_t count;
        std::string value;  // as it is stored
    };
    std::string number(std::uint32_t value, int bytes) const;
    bool little_endian_;
    std::vector<Entry> directories_[3];
};
