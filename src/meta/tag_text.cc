#include "meta/tag_text.h"

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "core/bytes.h"
#include "core/str.h"
#include "core/utf8.h"

namespace {

bool is_high_surrogate(std::uint32_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
bool is_low_surrogate(std::uint32_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

std::optional<std::uint32_t> take_unit(ByteCursor& cursor, ByteOrder order) {
    return order == ByteOrder::little ? cursor.little_endian(2) : cursor.big_endian(2);
}

}  // namespace

TagCharset tag_charset() {
    static const TagCharset charset = [] {
        const char* const asked = std::getenv("PELORAMA_CHARSET");
        return asked != nullptr && str_equal_nocase(asked, "UTF-8") ? TagCharset::utf8 : TagCharset::ascii;
    }();
    return charset;
}

std::string utf16_text(Bytes units, ByteOrder order, TagCharset charset) {
    std::string out;
    out.reserve(units.size() / 2);
    ByteCursor cursor{units};
    while (const auto unit = take_unit(cursor, order)) {
        if (*unit == 0) break;
        std::uint32_t code = *unit;
        if (is_high_surrogate(code)) {
            ByteCursor ahead = cursor;
            const auto low = take_unit(ahead, order);
            if (charset == TagCharset::utf8 && low && is_low_surrogate(*low)) {
                code = 0x10000u + ((code - 0xD800u) << 10) + (*low - 0xDC00u);
                cursor = ahead;
            }
        }
        const bool lone = code >= 0xD800 && code <= 0xDFFF;
        const bool fits = code < 0x80 || (charset == TagCharset::utf8 && !lone);
        utf8_append(out, fits ? code : '?');
    }
    return out;
}

std::string utf16_narrow_text(Bytes units, TagCharset charset) {
    if (charset == TagCharset::utf8) return utf16_text(units, ByteOrder::little, charset);
    std::string out{as_text(units)};
    std::erase(out, '\0');
    return out;
}
