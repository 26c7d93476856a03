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
    } const rows[] = {
        {"many", 0, 0},
        {"07/12", 7, 7},
        {" \t\r\n42 minutes", 42, 42},
        {"-5", -5, -5},
        {"+5", 5, 5},
        {"- 5", 0, 0},
        {"0x10", 0, 0},
        {"3221225472", -1073741824, 3221225472},
        {"-4294967297", -1, -4294967297},
        {"9223372036854775808", 0, kLargest},
        {"-9223372036854775809", -1, kSmallest},
        // No longer a number anybody means, but always the same one: its low 32 bits.
        {"99999999999999999999", 1661992959, kLargest},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(text_int(row.text), row.low) << row.text;
        EXPECT_EQ(text_int64(row.text), row.whole) << row.text;
    }
}

TEST(TextFormat, CutsAsAFixedBufferWould) {
    EXPECT_EQ(text_format(5, "%s", "sound"), "soun");
    EXPECT_EQ(text_format(0, "%s", "sound"), "");
    EXPECT_EQ(text_format(64, "%d%%|%s", 7, "%n"), "7%|%n");
}

TEST(IgnoringCase, FoldsAsciiLettersOnly) {
    EXPECT_TRUE(str_equal_nocase("EnableWeb", "enableweb"));
    EXPECT_FALSE(str_equal_nocase("\xC9", "\xE9"));  // the same letter in Latin-1
    EXPECT_FALSE(str_equal_nocase("[", "{"));        // 32 apart as letters are
    EXPECT_FALSE(str_ends_nocase("mp3", ".mp3"));
    EXPECT_LT(str_compare_nocase("ab", "ABC"), 0);
    EXPECT_GT(str_compare_nocase("\xE9", "z"), 0);
}

TEST(Finding, IgnoresCaseAndStaysWithinTheText) {
    EXPECT_EQ(str_find_nocase("Host: a\r\nRANGE: b", "\nrange:"), 8u);
    EXPECT_EQ(str_find_nocase("ab", "abc"), std::string_view::npos);
    EXPECT_EQ(str_find_nocase("ab", "", 2), 2u);
    EXPECT_EQ(str_find_nocase("ab", "", 3), std::string_view::npos);
    EXPECT_EQ(str_find_nocase("aaab", "AAB"), 1u);
}

TEST(Cutting, IsClampedToTheText) {
    EXPECT_EQ(str_left("abc", 9), "abc");
    EXPECT_EQ(str_trim("  a b\t "), "a b\t");  // the space character alone
    EXPECT_EQ(str_trim("   "), "");
    EXPECT_EQ(path_extension("README"), "README");
    EXPECT_EQ(path_extension("a."), "");
}

}  // namespace
