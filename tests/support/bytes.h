// Numbers and texts as files store them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

inline std::string little_endian_bytes(std::uint64_t value, std::size_t width) {
    std::string out;
    for (; width > 0; --width, value >>= 8) out += static_cast<char>(value & 0xFF);
    return out;
}
inline std::string big_endian_bytes(std::uint64_t value, std::size_t width) {
    const std::string reversed = little_endian_bytes(value, width);
    return {reversed.rbegin(), reversed.rend()};
}

// UTF-16LE without a mark, with a terminator.
inline std::string utf16le_text(std::u16string_view text) {
    std::string out;
    for (const char16_t c : text) out += little_endian_bytes(c, 2);
    return out + std::string(2, '\0');
}
inline std::string utf16le_text(std::string_view ascii) {
    return utf16le_text(std::u16string{ascii.begin(), ascii.end()});
}
