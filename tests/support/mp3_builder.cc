#include "support/mp3_builder.h"

#include "support/asf_builder.h"

using namespace std::string_view_literals;

namespace {

constexpr std::size_t kFrameBytes = 417;
constexpr std::size_t kXingAt = 36;  // behind the side information of a stereo frame

std::string field(std::string_view text, std::size_t width) {
    std::string out{text.substr(0, width)};
    out.resize(width, '\0');
    return out;
}

// Four bytes of seven bits each.
std::string syncsafe_bytes(std::uint32_t value) {
    std::string out;
    for (unsigned shift = 28; shift > 0; shift -= 7) out += static_cast<char>(value >> (shift - 7) & 0x7Fu);
    return out;
}

}  // namespace

std::string big_endian_bytes(std::uint32_t value, std::size_t width) {
    const std::string reversed = little_endian_bytes(value, width);
    return {reversed.rbegin(), reversed.rend()};
}

std::string utf16_bytes(std::u32string_view text, bool little_endian) {
    std::string out = little_endian ? "\xFF\xFE" : "\xFE\xFF";
    const auto unit = [&](std::uint32_t value) {
        out += little_endian ? little_endian_bytes(value, 2) : big_endian_bytes(value, 2);
    };
    for (const char32_t c : text) {
        if (c >= 0x10000) unit(0xD800 + ((c - 0x10000) >> 10));
        unit(c >= 0x10000 ? 0xDC00 + (c & 0x3FFu) : c);
    }
    return out;
}

Id3Tag& Id3Tag::frame(std::string_view id, std::string_view data, std::optional<std::uint32_t> size) {
    body_ += id;
    body_ += big_endian_bytes(size.value_or(static_cast<std::uint32_t>(data.size())), version_ == 2 ? 3 : 4);
    if (version_ != 2) body_ += "\0\0"sv;
    body_ += data;
    return *this;
}

Id3Tag& Id3Tag::picture(std::string_view image) {
    const std::string head{version_ == 2 ? "\0JPG\3\0"sv : "\0image/jpeg\0\3\0"sv};
    return frame(version_ == 2 ? "PIC" : "APIC", head + std::string{image});
}

Id3Tag& Id3Tag::padding(std::size_t bytes) {
    body_.append(bytes, '\0');
    return *this;
}

Id3Tag& Id3Tag::extended_header(std::uint32_t size) {
    flags_ = 0x40;
    body_ += syncsafe_bytes(size);
    return *this;
}

Id3Tag& Id3Tag::announce(std::uint32_t size) {
    size_ = size;
    return *this;
}

std::string Id3Tag::bytes() const {
    return "ID3" + std::string{static_cast<char>(version_), 0, flags_} +
           syncsafe_bytes(size_.value_or(static_cast<std::uint32_t>(body_.size()))) + body_;
}

std::string Id3v1Block::bytes() const {
    std::string out = "TAG" + field(title, 30) + field(artist, 30) + field(album, 30) + field(year, 4);
    out += track == 0 ? field(comment, 30) : field(comment, 29) + static_cast<char>(track);
    return out + static_cast<char>(genre);
}

std::string mpeg_frames(std::size_t count) {
    std::string out;
    while (count-- > 0) out += field("\xFF\xFB\x90\x64", kFrameBytes);
    return out;
}

std::string xing_frame(std::uint32_t frames) {
    const std::string header = "Xing" + big_endian_bytes(1, 4) + big_endian_bytes(frames, 4);
    return mpeg_frames(1).replace(kXingAt, header.size(), header);
}
