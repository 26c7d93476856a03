#include "meta/mp4_box.h"

#include "core/bytes.h"

std::optional<Mp4BoxHeader> mp4_box_at(FileWindow& file, std::uint64_t offset) {
    constexpr std::uint64_t kShort = 8, kLong = 16;
    ByteCursor cursor{file.at(offset, kLong)};
    const auto size = cursor.big_endian(4);
    const auto type = cursor.take(4);
    if (!size || !type) return std::nullopt;
    Mp4BoxHeader box{.type = as_text(*type), .header_bytes = kShort, .length = *size, .to_end = *size == 0};
    if (*size != 1) return box;
    const auto high = cursor.big_endian(4), low = cursor.big_endian(4);
    if (!high || !low) return std::nullopt;
    box.header_bytes = kLong;
    box.length = std::uint64_t{*high} << 32 | *low;
    return box;
}
