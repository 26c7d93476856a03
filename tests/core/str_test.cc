#include "core/str.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace {

TEST(Numbers, AreReadFromTheStartOfAText) {
    constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();
    constexpr std::int64_t kSmallest = std::numeric_limits<std::int64_t>::min();
    struct {
        const char* text;
        std::int32_t low;
        std::int64_t whole;
    } constexpr kCases[] = {
        {"many", 0, 0},
        {" \t\r\n07/12", 7, 7},
        {"-5", -5, -5},
        {"+5", 5, 5},
        {"- 5", 0, 0},
        {"0x10", 0, 0},
        {"3221225472", -1073741824, 3221225472},
        {"-4294967297", -1, -4294967297},
        {"9223372036854775807", -1, kLargest},
        {"-9223372036854775809", -1, kSmallest},
        // No longer a number anybody means, but always the same one: its low 32 bits.
        {"99999999999999999999", 1661992959, kLargest},
    };
    for (const auto& row : kCases) {
        EXPECT_EQ(text_int(row.text), row.low) << row.text;
        EXPECT_EQ(text_int64(row.text), row.whole) << row.text;
    }
}

TEST(IgnoringCase, FoldsAsciiLettersOnly) {
    EXPECT_FALSE(str_equal_nocase("\xC9", "\xE9"));  // the same letter in Latin-1
    EXPECT_FALSE(str_equal_nocase("[", "{"));        // 32 apart as letters are
    EXPECT_FALSE(str_ends_nocase("mp3", ".mp3"));
    EXPECT_LT(str_compare_nocase("ab", "ABC"), 0);
    EXPECT_GT(str_compare_nocase("\xE9", "z"), 0);
    EXPECT_EQ(str_find_nocase("ab", "abc"), std::string_view::npos);
    EXPECT_EQ(str_find_nocase("ab", "", 3), std::string_view::npos);
    EXPECT_EQ(str_find_nocase("aaab", "AAB"), 1u);
}

}  // namespace
