#include "core/url_decode.h"
#include <cstddef>
#include <string>
#include <string_view>

int hex_digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

namespace {

constexpr std::size_t kEscapeBytes = 3;

// Returns the byte of the escape at the start of the text; 0 if there is none.
int escaped_byte(std::string_view text) {
    if (text.size() < kEscapeBytes || text.front() != '%') return 0;
    const int high = hex_digit(text[1]);
    const int low = hex_digit(text[2]);
    return high < 0 || low < 0 ? 0 : high * 16 + low;
}

}  // namespace

std::string url_decode(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const int byte = escaped_byte(text);
        out.push_back(byte != 0 ? static_cast<char>(byte) : text.front());
        text.remove_prefix(byte != 0 ? kEscapeBytes : 1);
    }
    return out;
}
