// Text helpers shared by every folder. Views in, strings out; case-insensitive compares fold ASCII letters only and
// never ask the locale. Missing and empty are different things in the content tree: a field that may be missing is a
// Text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

using Text = std::optional<std::string>;

// Present and not empty.
bool has_text(const Text& text);
// The text, or nothing at all when it is missing.
std::string_view text_or_empty(const Text& text);

// The formatted text, cut to capacity - 1 bytes as a fixed buffer of that capacity would cut it.
[[gnu::format(printf, 2, 3)]] std::string text_format(std::size_t capacity, const char* format, ...);

// Leading blanks, a sign, digits, stop; 0 when there are none. text_int keeps the low 32 bits of what does not fit,
// text_int64 saturates.
std::int32_t text_int(std::string_view text);
std::int64_t text_int64(std::string_view text);

char char_lower(char c);
char char_upper(char c);

bool str_equal_nocase(std::string_view a, std::string_view b);
bool str_starts_nocase(std::string_view text, std::string_view prefix);
bool str_ends_nocase(std::string_view text, std::string_view suffix);
bool str_contains(std::string_view text, std::string_view part);
bool str_contains_nocase(std::string_view text, std::string_view part);
// Below, equal or above 0, as strcasecmp in the C locale orders them.
int str_compare_nocase(std::string_view a, std::string_view b);

// Where needle first occurs in text at or behind from; npos when it does not. An empty needle is found at from.
std::size_t str_find_nocase(std::string_view text, std::string_view needle, std::size_t from = 0);

// a followed by b.
std::string str_concat(std::string_view a, std::string_view b);
// The first count characters, a view of the argument.
std::string_view str_left(std::string_view text, std::size_t count);
// Without blanks (the space character alone) at the start, the end, or both; views of the argument.
std::string_view str_trim_left(std::string_view text);
std::string_view str_trim_right(std::string_view text);
std::string_view str_trim(std::string_view text);

// Every backslash replaced by "/".
std::string path_to_slashes(std::string_view path);
// What follows the last "." of a path ("mp3"); the whole path when it has none.
std::string_view path_extension(std::string_view path);
