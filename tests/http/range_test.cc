#include "http/range.h"

#include <gtest/gtest.h>

#include <limits>

#include "core/url_decode.h"

namespace {

constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();

TEST(RangeHeader, IsReadAsReceiversMeanIt) {
    const struct {
        const char* name;
        const char* lines;
        ByteRange expected;
    } rows[] = {
        {"reversed_is_one_byte", "Range: bytes=500-100", {500, 500}},
        {"other_case", "rAnGe: bytes=1-2", {1, 2}},
        {"blank_behind_equals", "Range: bytes= 7-9", {7, 9}},
        {"only_at_the_start_of_a_line", "X-Range: bytes=1-2", {}},
        {"first_of_several", "Range: bytes=0-0,5-9", {0, 0}},
        {"no_last_behind_the_first", "Range: bytes=1-2-3", {1, 2}},
        {"suffix_is_no_range", "Range: bytes=-500", {-500, 500}},
        {"beyond_the_largest", "Range: bytes=9223372036854775808-99999999999999999999", {kLargest, kLargest}},
        {"time_seek_with_colons", "TimeSeekRange.dlna.org: npt=0:01:30.000-0:02:00.500", {90'000, 120'500, true}},
        {"time_seek_reversed", "timeseekrange.DLNA.org: npt=20-10", {20'000, 20'000, true}},
        {"x_seek", "X-Seek-Range: npt=5-", {5'000, -1, true}},
        {"time_seek_before_x_seek", "X-Seek-Range: npt=5-\r\nTimeSeekRange.dlna.org: npt=6-", {6'000, -1, true}},
        {"bytes_before_time_seek", "TimeSeekRange.dlna.org: npt=6-\r\nRange: bytes=1-", {1, -1}},
        {"time_seek_without_a_value", "TimeSeekRange.dlna.org:", {-1, -1, true}},
    };
    for (const auto& c : rows) {
        SCOPED_TRACE(c.name);
        const ByteRange range = http_parse_range(std::string{"GET / HTTP/1.1\r\n"} + c.lines + "\r\n\r\n");
        EXPECT_EQ(range.first, c.expected.first);
        EXPECT_EQ(range.last, c.expected.last);
        EXPECT_EQ(range.time_seek, c.expected.time_seek);
    }
}

TEST(NptTime, IsMilliseconds) {
    const std::pair<std::string, std::int64_t> rows[] = {
        {"90", 90'000},
        {"90.5", 90'005},
        {".5", 5},
        {"0:01:30", 60'030'000},
        {" 1 2 x34", 12'000},
        {"", 0},
        {"999999999:00:00.0", 3'599'999'996'400'000},
        {std::string(400, '9') + ":" + std::string(400, '9'), kLargest},
    };
    for (const auto& [text, expected] : rows) EXPECT_EQ(parse_npt_time(text), expected) << text;
}

TEST(UrlDecode, TurnsEscapesIntoBytesAndKeepsTheRest) {
    EXPECT_EQ(url_decode("/a%20b%2Fc%c3%A4"), "/a b/c\xc3\xa4");
    EXPECT_EQ(url_decode("%252e"), "%2e") << "decoded once";
    EXPECT_EQ(url_decode("a+b%%41%4"), "a+b%A%4");
    EXPECT_EQ(url_decode("a%00b"), "a%00b");
}

}  // namespace
