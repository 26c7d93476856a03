// UTF-8 and Latin-1. The store's texts are UTF-8; old tags and some clients know only single bytes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// Well-formed as in table 3-7 of the Unicode standard: no overlong forms, no surrogates, nothing above U+10FFFF.
bool utf8_is_well_formed(std::string_view text);

// Removes the first character of text and returns its code point. Returns nullopt, and removes nothing, at the end of
// the text or if the character is malformed.
std::optional<std::uint32_t> utf8_take(std::string_view& text);

void utf8_append(std::string& out, std::uint32_t code_point);

std::string latin1_to_utf8(std::string_view text);
// Writes "?" for a character that does not fit in one byte, and for a malformed byte.
std::string utf8_to_latin1(std::string_view text);

// Returns the longest head of at most limit bytes that does not split a character.
std::string_view utf8_head(std::string_view text, std::size_t limit);
