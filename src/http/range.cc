#include "http/range.h"

#include <limits>

#include "core/str.h"

namespace {

constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

std::int64_t saturating_add(std::int64_t a, std::int64_t b) {
    std::int64_t sum = 0;
    return __builtin_add_overflow(a, b, &sum) ? kLargest : sum;
}

std::int64_t saturating_multiply(std::int64_t a, std::int64_t b) {
    std::int64_t product = 0;
    return __builtin_mul_overflow(a, b, &product) ? kLargest : product;
}

// From text on: a number behind each "=", up to the first "-"; a digit right behind that begins the end of the range.
template <typename Number>
ByteRange scan_range(std::string_view text, Number number) {
    ByteRange range;
    std::size_t at = 0;
    for (; at < text.size() && text[at] != '-'; ++at)
        if (text[at] == '=') range.first = number(text.substr(at + 1));
    if (at + 1 < text.size() && is_digit(text[at + 1])) range.last = number(text.substr(at + 1));
    return range;
}

}  // namespace

std::int64_t parse_npt_time(std::string_view text) {
    std::int64_t total = 0, number = 0, factor = 3'600'000;
    bool fraction = false;
    for (const char c : text) {
        if (is_digit(c)) {
            number = saturating_add(saturating_multiply(number, 10), c - '0');
        } else if (c == ':') {
            total = saturating_add(total, saturating_multiply(number, factor));
            factor /= 60;
            number = 0;
        } else if (c == '.') {
            total = saturating_add(total, saturating_multiply(number, 1000));
            number = 0;
            fraction = true;
        } else if (c != ' ') {
            break;
        }
    }
    // Kept on purpose: clients are served by both readings, see the header.
    const std::int64_t sum = saturating_add(total, number);
    return fraction ? sum : saturating_multiply(sum, 1000);
}

bool http_asks_for_time(std::string_view header) {
    return str_contains(header, "TimeSeekRange");
}

ByteRange http_parse_range(std::string_view header) {
    constexpr std::size_t kBehindName = 12;
    ByteRange range;
    const std::size_t bytes = str_find_nocase(header, "\nRange:");
    if (bytes != std::string_view::npos) {
        range = scan_range(header.substr(bytes), text_int64);
    } else {
        std::size_t seek = str_find_nocase(header, "TimeSeekRange.dlna.org:");
        if (seek == std::string_view::npos) seek = str_find_nocase(header, "X-Seek-Range:");
        if (seek == std::string_view::npos) return range;
        range = scan_range(header.substr(seek + kBehindName), parse_npt_time);
        range.time_seek = true;
    }
    if (range.last >= 0 && range.last < range.first) range.last = range.first;
    return range;
}
