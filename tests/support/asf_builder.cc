#include "support/asf_builder.h"

using namespace std::string_view_literals;

namespace {

// Advanced Systems Format, section 10, in their order on disk.
constexpr auto kHeaderGuid = "\x30\x26\xB2\x75\x8E\x66\xCF\x11\xA6\xD9\x00\xAA\x00\x62\xCE\x6C"sv;
constexpr auto kDescriptionGuid = "\x33\x26\xB2\x75\x8E\x66\xCF\x11\xA6\xD9\x00\xAA\x00\x62\xCE\x6C"sv;
constexpr auto kStreamGuid = "\x91\x07\xDC\xB7\xB7\xA9\xCF\x11\x8E\xE6\x00\xC0\x0C\x20\x53\x65"sv;
constexpr auto kExtendedGuid = "\x40\xA4\xD0\xD2\x07\xE3\xD2\x11\x97\xF0\x00\xA0\xC9\x5E\xA8\x50"sv;
constexpr auto kFillerGuid = "\x11\x22\x33\x44\x55\x66\x77\x88\x99\xAA\xBB\xCC\xDD\xEE\xFF\x10"sv;

std::string u16(std::size_t value) {
    return little_endian_bytes(value, 2);
}

std::string object_bytes(std::string_view guid, std::string_view data) {
    return std::string{guid}.append(little_endian_bytes(24 + data.size(), 8)).append(data);
}

}  // namespace

std::string little_endian_bytes(std::uint64_t value, std::size_t width) {
    std::string out;
    for (; width > 0; --width, value >>= 8) out.push_back(static_cast<char>(value & 0xFF));
    return out;
}

std::string utf16le_text(std::u32string_view text) {
    std::string out;
    for (const char32_t c : text) out += u16(c);
    return out + u16(0);
}

std::string utf16le_text(std::string_view ascii) {
    return utf16le_text(std::u32string{ascii.begin(), ascii.end()});
}

AsfHead& AsfHead::object(std::string_view guid, std::string_view data) {
    children_ += object_bytes(guid, data);
    ++child_count_;
    return *this;
}

AsfHead& AsfHead::description(std::string_view title, std::string_view artist, std::string_view copyright) {
    const std::string a = utf16le_text(title), b = utf16le_text(artist), c = utf16le_text(copyright);
    return object(kDescriptionGuid, u16(a.size()) + u16(b.size()) + u16(c.size()) + u16(0) + u16(0) + a + b + c);
}

AsfHead& AsfHead::format(std::uint32_t bytes_per_second, std::uint16_t channels, std::uint32_t sample_rate) {
    const std::string data(54, '\x07');  // types, offset, lengths, flags: nothing here that looks like a format tag
    return object(kStreamGuid, data + "\x61\x01" + u16(channels) + little_endian_bytes(sample_rate, 4) +
                                   little_endian_bytes(bytes_per_second, 4) + u16(744) + u16(16) + u16(10) +
                                   std::string(10, '\x05'));
}

AsfHead& AsfHead::raw_attribute(std::string_view name, std::uint16_t type, std::string_view value) {
    const std::string wide = utf16le_text(name);
    attributes_ += u16(wide.size()) + wide + u16(type) + u16(value.size()) + std::string{value};
    ++attribute_count_;
    return *this;
}

AsfHead& AsfHead::attribute(std::string_view name, std::string_view text) {
    return raw_attribute(name, 0, utf16le_text(text));
}

AsfHead& AsfHead::attribute(std::string_view name, std::uint32_t number) {
    return raw_attribute(name, 3, little_endian_bytes(number, 4));
}

AsfHead& AsfHead::filler(std::size_t bytes) {
    return object(kFillerGuid, std::string(bytes, '\x0B'));
}

std::string AsfHead::bytes() const {
    AsfHead whole = *this;
    if (attribute_count_ > 0) whole.object(kExtendedGuid, u16(attribute_count_) + attributes_);
    return object_bytes(kHeaderGuid, little_endian_bytes(whole.child_count_, 4) + "\x01\x02" + whole.children_);
}
