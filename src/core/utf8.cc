#include "core/utf8.h"
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

bool utf8_is_well_formed(std::string_view text) {
    while (!text.empty())
        if (!utf8_take(text)) return false;
    return true;
}

std::optional<std::uint32_t> utf8_take(std::string_view& text) {
    if (text.empty()) return std::nullopt;
    const auto byte = [&](std::size_t i) { return static_cast<std::uint32_t>(static_cast<unsigned char>(text[i])); };
    const std::uint32_t lead = byte(0);
    if (lead < 0x80) {
        text.remove_prefix(1);
        return lead;
    }
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return std::nullopt;
    std::uint32_t code = lead & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0u) != 0x80u) return std::nullopt;
        code = code << 6 | (byte(i) & 0x3Fu);
    }
    const bool overlong = (length == 3 && code < 0x800) || (length == 4 && code < 0x10000);
    if (overlong || (code >= 0xD800 && code <= 0xDFFF) || code > 0x10FFFF) return std::nullopt;
    text.remove_prefix(length);
    return code;
}

void utf8_append(std::string& out, std::uint32_t code_point) {
    const auto put = [&](std::uint32_t byte) { out.push_back(static_cast<char>(static_cast<unsigned char>(byte))); };
    if (code_point < 0x80) {
        put(code_point);
    } else if (code_point < 0x800) {
        put(0xC0u | code_point >> 6);
        put(0x80u | (code_point & 0x3Fu));
    } else if (code_point < 0x10000) {
        put(0xE0u | code_point >> 12);
        put(0x80u | (code_point >> 6 & 0x3Fu));
        put(0x80u | (code_point & 0x3Fu));
    } else {
        put(0xF0u | code_point >> 18);
        put(0x80u | (code_point >> 12 & 0x3Fu));
        put(0x80u | (code_point >> 6 & 0x3Fu));
        put(0x80u | (code_point & 0x3Fu));
    }
}

std::string latin1_to_utf8(std::string_view text) {
    std::string out;
    out.reserve(text.size() * 2);
    for (const char c : text) utf8_append(out, static_cast<unsigned char>(c));
    return out;
}

std::string utf8_to_latin1(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const auto code = utf8_take(text);
        if (!code) text.remove_prefix(1);
        out.push_back(code && *code < 0x100 ? static_cast<char>(static_cast<unsigned char>(*code)) : '?');
    }
    return out;
}

std::string_view utf8_head(std::string_view text, std::size_t limit) {
    if (text.size() <= limit) return text;
    while (limit > 0 && (static_cast<unsigned char>(text[limit]) & 0xC0u) == 0x80u) --limit;
    return text.substr(0, limit);
}
