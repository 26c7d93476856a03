#include "core/xml_escape.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/str.h"
#include "core/text_clean.h"
#include "core/utf8.h"

namespace {

constexpr std::size_t npos = std::string_view::npos;
constexpr std::size_t kEscapeLimit = 1023;  // escaping fails if result and terminator reach this many bytes

struct Entity {
    std::string_view name;
    char meaning;
};

constexpr auto kEntities = std::to_array<Entity>({
    {"&amp;", '&'},
    {"&nbsp;", ' '},
    {"&lt;", '<'},
    {"&gt;", '>'},
    {"&apos;", '\''},
    {"&quot;", '"'},
});

struct Decoded {
    char byte;
    std::size_t length;  // of the input; 0 if it is no reference
};

// text begins with "&".
Decoded decode_entity(std::string_view text) {
    for (const Entity& entity : kEntities)
        if (text.starts_with(entity.name)) return {entity.meaning, entity.name.size()};

    constexpr std::size_t kLastSemicolon = 6;  // longer references are not decoded
    const std::size_t semicolon = text.substr(0, kLastSemicolon + 1).find(';');
    if (!text.starts_with("&#") || semicolon == npos) return {'\0', 0};
    const std::string_view number = text.substr(2, semicolon - 2);
    const std::uint32_t value =
        number.starts_with('x') ? hex_to_int(number.substr(1)) : static_cast<std::uint32_t>(text_int(number));
    return {static_cast<char>(static_cast<unsigned char>(value & 0xFFu)), semicolon + 1};
}

void append_escaped(std::string& out, char c, HighBytes high_bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '<') {
        out.append("&amp;lt;");
    } else if (c == '>') {
        out.append("&amp;gt;");
    } else if (c == '&') {
        out.append("&amp;amp;");
    } else if (byte >= 0x80 && high_bytes == HighBytes::convert) {
        utf8_append(out, byte);
    } else if (byte >= 1 && byte < 32) {
        out.append("&amp;#").append(std::to_string(byte)).append(";");
    } else {
        out.push_back(c);
    }
}

// Apart from control characters, only U+FFFE and U+FFFF are well-formed UTF-8 and not allowed in XML 1.0 (production 2,
// Char).
std::string without_noncharacters(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const bool forbidden = text.starts_with("\xEF\xBF\xBE") || text.starts_with("\xEF\xBF\xBF");
        if (!forbidden) out.push_back(text.front());
        text.remove_prefix(forbidden ? 3 : 1);
    }
    return out;
}

}  // namespace

std::string xml_unescape(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const std::size_t plain = std::min(text.find('&'), text.size());
        out.append(text.substr(0, plain));
        text.remove_prefix(plain);
        if (text.empty()) break;
        const Decoded decoded = decode_entity(text);
        if (decoded.length > 0 && decoded.byte == '\0') break;
        // The text is UTF-8, but a reference is decoded to eight bits.
        utf8_append(out, decoded.length > 0 ? static_cast<unsigned char>(decoded.byte) : '&');
        text.remove_prefix(std::max<std::size_t>(decoded.length, 1));
    }
    return out;
}

std::uint32_t hex_to_int(std::string_view text) {
    std::uint32_t value = 0;
    for (const char c : text) {
        const char lower = char_lower(c);
        const bool letter = lower >= 'a' && lower <= 'z';
        if (!letter && (c < '0' || c > '9')) break;
        value = value * 16u + static_cast<std::uint32_t>(letter ? lower - 'a' + 10 : c - '0');
    }
    return value;
}

Text xml_escape_double(std::string_view text, HighBytes high_bytes) {
    if (text.empty()) return std::nullopt;
    std::string out;
    for (const char c : text) {
        append_escaped(out, c, high_bytes);
        if (out.size() + 1 >= kEscapeLimit) return std::nullopt;
    }
    return out;
}

Text xml_escape_for(std::string_view text, ClientText client) {
    const std::string legal = text_without_forbidden_controls(text);
    const bool is_utf8 = utf8_is_well_formed(legal);
    if (client == ClientText::single_bytes)
        return xml_escape_double(is_utf8 ? utf8_to_latin1(legal) : legal, HighBytes::copy);
    if (is_utf8) return xml_escape_double(without_noncharacters(legal), HighBytes::copy);
    return xml_escape_double(legal, HighBytes::convert);
}
