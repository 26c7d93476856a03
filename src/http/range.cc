#include "http/range.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>

#include "core/str.h"

namespace {

constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();

std::int64_t saturating_add(std::int64_t a, std::int64_t b) {
    std::int64_t sum = 0;
    return __builtin_add_overflow(a, b, &sum) ? kLargest : sum;
}

std::int64_t saturating_multiply(std::int64_t a, std::int64_t b) {
    std::int64_t product = 0;
    return __builtin_mul_overflow(a, b, &product) ? kLargest : product;
}

// The first byte or time is the number after the last "=" before the first "-"; a digit right after the "-" begins the
// last one.
template <typename Number>
ByteRange scan_range(std::string_view text, Number number) {
    ByteRange range;
    std::size_t at = 0;
    for (; at < text.size() && text[at] != '-'; ++at)
        if (text[at] == '=') range.first = number(text.substr(at + 1));
    if (at + 1 < text.size() && char_is_digit(text[at + 1])) range.last = number(text.substr(at + 1));
    return range;
}

}  // namespace

std::int64_t parse_npt_time(std::string_view text) {
    std::int64_t total = 0, number = 0, factor = 3'600'000;
    bool fraction = false;
    for (const char c : text) {
        if (char_is_digit(c)) {
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
    // Kept on purpose: "90.5" is 90,005 ms, and "0:01:30" is scaled by 1000 once more.
    const std::int64_t sum = saturating_add(total, number);
    return fraction ? sum : saturating_multiply(sum, 1000);
}

bool http_asks_for_time(std::string_view header) {
    return str_contains(header, "TimeSeekRange");
}

ByteRange http_parse_range(std::string_view header) {
    ByteRange range;
    if (const auto bytes = str_after_nocase(header, "\nRange:")) {
        range = scan_range(*bytes, text_int64);
    } else {
        auto time = str_after_nocase(header, "TimeSeekRange.dlna.org:");
        if (!time) time = str_after_nocase(header, "X-Seek-Range:");
        if (!time) return range;
        range = scan_range(*time, parse_npt_time);
        range.time_seek = true;
    }
    if (range.last >= 0 && range.last < range.first) range.last = range.first;
    return range;
}
