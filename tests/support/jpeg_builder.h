// JPEG files for tests, made and read back by the library itself, and EXIF blocks written from their definition.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// Three bytes a pixel, from the top down.
struct TestPicture {
    int width = 0, height = 0;
    std::vector<std::uint8_t> rgb;
    const std::uint8_t* at(int x, int y) const { return rgb.data() + (y * width + x) * 3; }
};
// Noise that is the same in every run, or one colour.
TestPicture noise_picture(int width, int height, unsigned seed = 1);
TestPicture plain_picture(int width, int height, std::uint8_t red = 0, std::uint8_t green = 0, std::uint8_t blue = 0);

enum class JpegKind { baseline, progressive, grey };
std::string jpeg_bytes(const TestPicture& picture, JpegKind kind = JpegKind::baseline);
// Grey comes back in three equal channels. What cannot be decoded ends the program with the library's message.
TestPicture jpeg_pixels(std::string_view jpeg);

// A JPEG of segments alone: SOI, the given ones, a frame header of this size.
std::string jpeg_segment(unsigned marker, std::string_view body);
std::string jpeg_head(const std::vector<std::string>& segments, int width, int height);

// The APP1 segment of an EXIF block.
class ExifBlock {
public:
    explicit ExifBlock(bool little_endian) : little_endian_(little_endian) {}

    enum Directory { kIfd0, kExif, kIfd1 };
    enum Type { kAscii = 2, kShort = 3, kLong = 4 };
    // An ASCII entry, with the NUL that it has to have.
    ExifBlock& text(Directory directory, unsigned tag, std::string_view value);
    // An entry as it stands, its value in its own four bytes.
    ExifBlock& raw(Directory directory, unsigned tag, Type type, std::uint32_t count, std::uint32_t value);

    std::string tiff() const;
    std::string segment() const;

private:
    struct Entry {
        unsigned tag, type;
        std::uint32_t count;
        std::string value;  // as it is stored
    };
    std::string number(std::uint32_t value, std::size_t bytes) const;
    bool little_endian_;
    std::vector<Entry> directories_[3];
};
