// Bytes of MP3 files for tests, written from the formats' definitions: ID3v2 tags, ID3v1 blocks, MPEG audio frames.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

std::string big_endian_bytes(std::uint32_t value, std::size_t width);
// Code units with a byte-order mark, from code points.
std::string utf16_bytes(std::u32string_view text, bool little_endian);

// An ID3v2 tag: Id3Tag{3}.text("TIT2", "Song").bytes() is a whole v2.3 tag. Frame ids have three letters in v2.2.
class Id3Tag {
public:
    explicit Id3Tag(int version) : version_(version) {}

    // A frame that announces the size of its data, plain and big-endian, or another one.
    Id3Tag& frame(std::string_view id, std::string_view data, std::optional<std::uint32_t> size = std::nullopt);
    // A text in ISO-8859-1.
    Id3Tag& text(std::string_view id, std::string_view text) { return frame(id, '\0' + std::string{text}); }
    Id3Tag& picture(std::string_view image);
    Id3Tag& padding(std::size_t bytes);
    // An extended header whose size field is this.
    Id3Tag& extended_header(std::uint32_t size);
    // The tag announces this size instead of its own.
    Id3Tag& announce(std::uint32_t size);

    std::string bytes() const;

private:
    int version_;
    char flags_ = 0;
    std::string body_;
    std::optional<std::uint32_t> size_;
};

struct Id3v1Block {
    std::string title = {}, artist = {}, album = {}, year = {}, comment = {};
    int track = 0;    // with it the comment has 28 bytes and a zero
    int genre = 255;  // none

    std::string bytes() const;
};

// MPEG-1 Layer III, 128 kbit/s, 44100 Hz: 417 bytes of silence each.
std::string mpeg_frames(std::size_t count);
// The same frame with a Xing header that announces this many frames.
std::string xing_frame(std::uint32_t frames);
