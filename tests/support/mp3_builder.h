// Bytes of MP3 files for tests, written from the formats' definitions: ID3v2 tags, ID3v1 blocks, MPEG audio frames.
#pragma once

#include <optional>

#include "support/bytes.h"

// An ID3v2 tag: Id3Tag{3}.text("TIT2", "Song").bytes() is a whole v2.3 tag. Frame ids have three letters in v2.2.
class Id3Tag {
public:
    explicit Id3Tag(int version) : version_(version) {}

    // A frame that announces the size of its data, plain and big-endian, or another one.
    Id3Tag& frame(std::string_view id, std::string_view data, std::optional<std::size_t> size = std::nullopt) {
        const std::string length = big_endian_bytes(size.value_or(data.size()), version_ == 2 ? 3 : 4);
        return raw(std::string{id} + length + std::string(version_ == 2 ? 0 : 2, '\0') + std::string{data});
    }
    // A text in ISO-8859-1.
    Id3Tag& text(std::string_view id, std::string_view text) { return frame(id, '\0' + std::string{text}); }
    Id3Tag& picture(const std::string& image) {
        using namespace std::string_literals;
        return version_ == 2 ? frame("PIC", "\0JPG\3\0"s + image) : frame("APIC", "\0image/jpeg\0\3\0"s + image);
    }
    Id3Tag& raw(std::string_view bytes) {
        body_ += bytes;
        return *this;
    }
    // An extended header whose size field is this.
    Id3Tag& extended_header(std::size_t size) {
        flags_ = 0x40;
        return raw(syncsafe(size));
    }

    // The tag announces its size, or another one.
    std::string bytes(std::optional<std::size_t> size = std::nullopt) const {
        return "ID3" + std::string{static_cast<char>(version_), 0, flags_} + syncsafe(size.value_or(body_.size())) +
               body_;
    }

private:
    // Four bytes of seven bits each.
    static std::string syncsafe(std::size_t value) {
        std::string out;
        for (unsigned shift = 28; shift > 0; shift -= 7) out += static_cast<char>(value >> (shift - 7) & 0x7Fu);
        return out;
    }
    int version_;
    char flags_ = 0;
    std::string body_;
};

// The last 128 bytes of a file. A track takes the last byte of the comment, behind a zero; genre 255 is none.
struct Id3v1Block {
    std::string title = {}, artist = {}, album = {}, year = {}, comment = {};
    int track = 0, genre = 255;

    std::string bytes() const {
        const auto field = [](std::string text, std::size_t width) {
            text.resize(width, '\0');
            return text;
        };
        return "TAG" + field(title, 30) + field(artist, 30) + field(album, 30) + field(year, 4) +
               (track == 0 ? field(comment, 30) : field(comment, 29) + static_cast<char>(track)) +
               static_cast<char>(genre);
    }
};

// MPEG-1 Layer III, 128 kbit/s, 44100 Hz: 417 bytes of silence each.
inline std::string mpeg_frames(std::size_t count) {
    std::string out;
    for (; count > 0; --count) out += "\xFF\xFB\x90\x64" + std::string(413, '\0');
    return out;
}
