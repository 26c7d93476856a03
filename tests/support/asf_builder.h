// Bytes of ASF heads for tests, written from the format's definition: the header object and the three children that
// readers look for.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

std::string little_endian_bytes(std::uint64_t value, std::size_t width);
// Code units without a mark, with a terminator.
std::string utf16le_text(std::u32string_view text);
std::string utf16le_text(std::string_view ascii);

// AsfHead{}.description("Title", "Artist").format(...).attribute("WM/Genre", "Rock").bytes(): children come out in the
// order of the calls, the attributes as one object behind them.
class AsfHead {
public:
    AsfHead& description(std::string_view title, std::string_view artist, std::string_view copyright = {});
    // Stream properties of a WMA 2 stream that announces ten bytes of its codec.
    AsfHead& format(std::uint32_t bytes_per_second, std::uint16_t channels = 2, std::uint32_t sample_rate = 44100);
    // Attributes with a text, with a number of four bytes, and with a value as it stands.
    AsfHead& attribute(std::string_view name, std::string_view text);
    AsfHead& attribute(std::string_view name, std::uint32_t number);
    AsfHead& raw_attribute(std::string_view name, std::uint16_t type, std::string_view value);
    // An object that nobody knows.
    AsfHead& filler(std::size_t bytes);

    std::string bytes() const;

private:
    AsfHead& object(std::string_view guid, std::string_view data);
    std::string children_, attributes_;
    std::uint32_t child_count_ = 0, attribute_count_ = 0;
};
