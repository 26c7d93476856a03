#include "http/range.h"

#include <gtest/gtest.h>

#include <limits>
#include <ostream>

#include "http/url_decode.h"

namespace {

constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();

struct RangeCase {
    const char* name;
    const char* lines;
    ByteRange expected;
};
class RangeHeader : public testing::TestWithParam<RangeCase> {};

TEST_P(RangeHeader, IsReadAsReceiversMeanIt) {
    const ByteRange range = http_parse_range(std::string{"GET / HTTP/1.1\r\n"} + GetParam().lines + "\r\n\r\n");
    EXPECT_EQ(range.first, GetParam().expected.first);
    EXPECT_EQ(range.last, GetParam().expected.last);
    EXPECT_EQ(range.time_seek, GetParam().expected.time_seek);
}

INSTANTIATE_TEST_SUITE_P(
    Http, RangeHeader,
    testing::ValuesIn<RangeCase>({
        {"none", "Host: a=1-2", {}},
        {"both", "Range: bytes=100-199", {100, 199}},
        {"open_end", "Range: bytes=500-", {500, -1}},
        {"reversed_is_one_byte", "Range: bytes=500-100", {500, 500}},
        {"other_case", "rAnGe: bytes=1-2", {1, 2}},
        {"blank_behind_equals", "Range: bytes= 7-9", {7, 9}},
        {"only_at_the_start_of_a_line", "X-Range: bytes=1-2", {}},
        {"first_of_several", "Range: bytes=0-0,5-9", {0, 0}},
        {"no_last_behind_the_first", "Range: bytes=1-2-3", {1, 2}},
        {"suffix_is_no_range", "Range: bytes=-500", {-500, 500}},
        {"no_number", "Range: abc", {}},
        {"largest", "Range: bytes=9223372036854775807-", {kLargest, -1}},
        {"beyond_the_largest", "Range: bytes=9223372036854775808-99999999999999999999", {kLargest, kLargest}},
        {"time_seek", "TimeSeekRange.dlna.org: npt=90.000-", {90'000, -1, true}},
        {"time_seek_with_colons", "TimeSeekRange.dlna.org: npt=0:01:30.000-0:02:00.500", {90'000, 120'500, true}},
        {"time_seek_reversed", "timeseekrange.DLNA.org: npt=20-10", {20'000, 20'000, true}},
        {"x_seek", "X-Seek-Range: npt=5-", {5'000, -1, true}},
        {"time_seek_before_x_seek", "X-Seek-Range: npt=5-\r\nTimeSeekRange.dlna.org: npt=6-", {6'000, -1, true}},
        {"bytes_before_time_seek", "TimeSeekRange.dlna.org: npt=6-\r\nRange: bytes=1-", {1, -1}},
        {"time_seek_without_a_value", "TimeSeekRange.dlna.org:", {-1, -1, true}},
    }),
    [](const auto& row) { return std::string{row.param.name}; });

struct TimeCase {
    std::string text;
    std::int64_t expected;
};
class NptTime : public testing::TestWithParam<TimeCase> {};

TEST_P(NptTime, IsMilliseconds) {
    EXPECT_EQ(parse_npt_time(GetParam().text), GetParam().expected) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(Http, NptTime,
                         testing::ValuesIn<TimeCase>({
                             {"90", 90'000},
                             {"0:01:30.000", 90'000},
                             {"90.5", 90'005},
                             {".5", 5},
                             {"0:01:30", 60'030'000},
                             {" 1 2 x34", 12'000},
                             {"", 0},
                             {"-5", 0},
                             {"999999999:00:00.0", 3'599'999'996'400'000},
                             {std::string(400, ':'), 0},
                             {std::string(400, '9') + ":" + std::string(400, '9'), kLargest},
                         }));

TEST(UrlDecode, TurnsEscapesIntoBytesAndKeepsTheRest) {
    EXPECT_EQ(url_decode("/a%20b%2Fc%c3%A4"), "/a b/c\xc3\xa4");
    EXPECT_EQ(url_decode("%252e"), "%2e") << "decoded once";
    EXPECT_EQ(url_decode("a+b%%41%4"), "a+b%A%4");
    EXPECT_EQ(url_decode("%zz%0"), "%zz%0");
    EXPECT_EQ(url_decode("a%00b"), "a%00b");
}

}  // namespace
