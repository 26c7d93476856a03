#include "core/str.h"

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

namespace {

bool is_blank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

struct ScannedNumber {
    std::string_view digits;
    bool negative = false;
};

ScannedNumber scan_number(std::string_view text) {
    std::size_t at = 0;
    while (at < text.size() && is_blank(text[at])) ++at;
    ScannedNumber number;
    if (at < text.size() && (text[at] == '-' || text[at] == '+')) number.negative = text[at++] == '-';
    const std::size_t first = at;
    while (at < text.size() && char_is_digit(text[at])) ++at;
    number.digits = text.substr(first, at - first);
    return number;
}

}  // namespace

bool has_text(const Text& text) {
    return text && !text->empty();
}

std::string_view text_or_empty(const Text& text) {
    return text ? std::string_view{*text} : std::string_view{};
}

std::string text_format(std::size_t capacity, const char* format, ...) {
    std::string out(capacity, '\0');
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(out.data(), capacity, format, arguments);
    va_end(arguments);
    out.resize(length < 0 || capacity == 0 ? 0 : std::min(static_cast<std::size_t>(length), capacity - 1));
    return out;
}

std::int32_t text_int(std::string_view text) {
    const ScannedNumber number = scan_number(text);
    std::uint32_t value = 0;
    for (const char digit : number.digits) value = value * 10u + static_cast<std::uint32_t>(digit - '0');
    return static_cast<std::int32_t>(number.negative ? 0u - value : value);
}

std::int64_t text_int64(std::string_view text) {
    const ScannedNumber number = scan_number(text);
    constexpr std::uint64_t kLargest = std::numeric_limits<std::int64_t>::max();
    const std::uint64_t limit = number.negative ? kLargest + 1 : kLargest;
    std::uint64_t value = 0;
    for (const char digit : number.digits) {
        const auto next = static_cast<std::uint64_t>(digit - '0');
        value = value > (limit - next) / 10 ? limit : value * 10 + next;
        if (value == limit) break;
    }
    return static_cast<std::int64_t>(number.negative ? 0 - value : value);
}

bool char_is_digit(char c) {
    return c >= '0' && c <= '9';
}

char char_lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
char char_upper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

bool str_equal_nocase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && str_starts_nocase(a, b);
}

bool str_starts_nocase(std::string_view text, std::string_view prefix) {
    return text.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), text.begin(),
                                                      [](char x, char y) { return char_lower(x) == char_lower(y); });
}

bool str_ends_nocase(std::string_view text, std::string_view suffix) {
    return text.size() >= suffix.size() && str_equal_nocase(text.substr(text.size() - suffix.size()), suffix);
}

bool str_contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

bool str_contains_nocase(std::string_view text, std::string_view part) {
    return str_find_nocase(text, part) != std::string_view::npos;
}

int str_compare_nocase(std::string_view a, std::string_view b) {
    const std::size_t common = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < common; ++i) {
        const int difference =
            static_cast<unsigned char>(char_lower(a[i])) - static_cast<unsigned char>(char_lower(b[i]));
        if (difference != 0) return difference;
    }
    return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

std::size_t str_find_nocase(std::string_view text, std::string_view needle, std::size_t from) {
    if (from > text.size()) return std::string_view::npos;
    if (needle.empty()) return from;
    const char first = char_lower(needle.front());
    for (std::size_t at = from; at + needle.size() <= text.size(); ++at)
        if (char_lower(text[at]) == first && str_starts_nocase(text.substr(at), needle)) return at;
    return std::string_view::npos;
}

std::optional<std::string_view> str_after(std::string_view text, std::string_view mark) {
    const std::size_t at = text.find(mark);
    if (at == std::string_view::npos) return std::nullopt;
    return text.substr(at + mark.size());
}

std::optional<std::string_view> str_after_nocase(std::string_view text, std::string_view mark) {
    const std::size_t at = str_find_nocase(text, mark);
    if (at == std::string_view::npos) return std::nullopt;
    return text.substr(at + mark.size());
}

std::string str_concat(std::string_view a, std::string_view b) {
    std::string out;
    out.reserve(a.size() + b.size());
    out.append(a).append(b);
    return out;
}

std::string_view str_left(std::string_view text, std::size_t count) {
    return text.substr(0, count);
}

std::string_view str_trim_left(std::string_view text) {
    while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
    return text;
}

std::string_view str_trim_right(std::string_view text) {
    while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
    return text;
}

std::string_view str_trim(std::string_view text) {
    return str_trim_left(str_trim_right(text));
}

std::string path_to_slashes(std::string_view path) {
    std::string out{path};
    std::replace(out.begin(), out.end(), '\\', '/');
    return out;
}

std::string_view path_extension(std::string_view path) {
    const std::size_t dot = path.rfind('.');
    return dot == std::string_view::npos ? path : path.substr(dot + 1);
}
