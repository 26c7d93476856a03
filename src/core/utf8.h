// UTF-8 and Latin-1. The store's texts are UTF-8; old tags and some clients know single bytes only.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// Well-formed in the sense of Unicode table 3-7: no overlong forms, no surrogates, nothing above U+10FFFF.
bool utf8_is_well_formed(std::string_view text);

// Takes one character off the front of well-formed text; missing at its end or where it is malformed.
std::optional<std::uint32_t> utf8_take(std::string_view& text);

void utf8_append(std::string& out, std::uint32_t code_point);

std::string latin1_to_utf8(std::string_view text);
// "?" for every character that one byte cannot hold, and for malformed bytes.
std::string utf8_to_latin1(std::string_view text);

// The longest head of at most limit bytes that does not cut a character in two.
std::string_view utf8_head(std::string_view text, std::size_t limit);
