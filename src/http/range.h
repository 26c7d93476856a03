// Byte ranges (RFC 9110, section 14) and time-seek ranges (DLNA) as clients write them in a request header.
#pragma once

#include <cstdint>
#include <string_view>

struct ByteRange {
    std::int64_t first = -1;  // -1: no range asked for
    std::int64_t last = -1;   // -1: open end
    bool time_seek = false;   // first and last are milliseconds
    bool operator==(const ByteRange&) const = default;
};

// Whether the header asks for a range of time, be it beside one of bytes.
bool http_asks_for_time(std::string_view header);

ByteRange http_parse_range(std::string_view header);

// A normal-play-time text in milliseconds, with the clients' reading of it: digits alone are seconds ("90" is
// 90,000), the digits of a fraction are milliseconds as they stand ("90.5" is 90,005), and a colon form without a
// fraction is scaled by 1000 once more. Stops at the first other character; saturates.
std::int64_t parse_npt_time(std::string_view text);
