// Checked reading of binary formats. Every byte of a file or packet is read through a cursor. A cursor never reads past
// its span, and a failed read does not move it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

using Bytes = std::span<const std::byte>;

// The only two conversions between bytes and characters.
inline std::string_view as_text(Bytes bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}
inline Bytes as_bytes(std::string_view text) {
    return std::as_bytes(std::span{text.data(), text.size()});
}

class ByteCursor {
public:
    explicit ByteCursor(Bytes data) : rest_(data) {}
    std::size_t left() const { return rest_.size(); }

    // Returns the next n bytes and moves past them; nullopt if fewer are left.
    std::optional<Bytes> take(std::size_t n) {
        if (n > rest_.size()) return std::nullopt;
        return std::exchange(rest_, rest_.subspan(n)).first(n);
    }
    bool skip(std::size_t n) { return take(n).has_value(); }

    // Read an unsigned integer of 1 to 4 bytes; nullopt if fewer are left.
    std::optional<std::uint32_t> big_endian(std::size_t width) {
        const auto bytes = take(width);
        if (!bytes) return std::nullopt;
        std::uint32_t value = 0;
        for (const std::byte b : *bytes) value = value << 8 | std::to_integer<std::uint32_t>(b);
        return value;
    }
    std::optional<std::uint32_t> little_endian(std::size_t width) {
        const auto bytes = take(width);
        if (!bytes) return std::nullopt;
        std::uint32_t value = 0;
        for (std::size_t i = bytes->size(); i-- > 0;) value = value << 8 | std::to_integer<std::uint32_t>((*bytes)[i]);
        return value;
    }

private:
    Bytes rest_;
};
