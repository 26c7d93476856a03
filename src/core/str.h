// Text helpers shared by every folder. Comparisons without regard to case fold ASCII letters only, whatever the locale.
// Missing and empty are different things in the content tree: a field that may be missing is a Text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

using Text = std::optional<std::string>;

// Whether the text is present and not empty.
bool has_text(const Text& text);
// Returns a view of the text; an empty one if it is missing.
std::string_view text_or_empty(const Text& text);

// Returns the formatted text, cut to capacity - 1 bytes as a buffer of that capacity would cut it.
[[gnu::format(printf, 2, 3)]] std::string text_format(std::size_t capacity, const char* format, ...);

// Read leading blanks, a sign and digits, and ignore the rest; return 0 if there are no digits. text_int keeps the low
// 32 bits of a number that does not fit, text_int64 saturates.
std::int32_t text_int(std::string_view text);
std::int64_t text_int64(std::string_view text);

bool char_is_digit(char c);
char char_lower(char c);
char char_upper(char c);

bool str_equal_nocase(std::string_view a, std::string_view b);
bool str_starts_nocase(std::string_view text, std::string_view prefix);
bool str_ends_nocase(std::string_view text, std::string_view suffix);
bool str_contains(std::string_view text, std::string_view part);
bool str_contains_nocase(std::string_view text, std::string_view part);
// Returns a value below, equal to or above 0, as strcasecmp does in the C locale.
int str_compare_nocase(std::string_view a, std::string_view b);

// Returns the first position of needle in text, not before from; npos if there is none. An empty needle is found at
// from.
std::size_t str_find_nocase(std::string_view text, std::string_view needle, std::size_t from = 0);

// Returns what follows the first occurrence of mark; nullopt if it does not occur.
std::optional<std::string_view> str_after(std::string_view text, std::string_view mark);
std::optional<std::string_view> str_after_nocase(std::string_view text, std::string_view mark);

// Returns a followed by b.
std::string str_concat(std::string_view a, std::string_view b);
// Returns the first count characters, as a view.
std::string_view str_left(std::string_view text, std::size_t count);
// Return the text without blanks (only the space character) at its start, its end or both, as a view.
std::string_view str_trim_left(std::string_view text);
std::string_view str_trim_right(std::string_view text);
std::string_view str_trim(std::string_view text);

// Returns the path with every backslash replaced by "/".
std::string path_to_slashes(std::string_view path);
// Returns the part of the path after its last "." ("mp3"); the whole path if it has none.
std::string_view path_extension(std::string_view path);
