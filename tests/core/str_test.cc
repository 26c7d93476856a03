#include "core/str.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace {

struct NumberCase {
    const char* text;
    std::int32_t low;
    std::int64_t whole;
};

TEST(Numbers, AreReadFromTheStartOfAText) {
    constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();
    constexpr std::int64_t kSmallest = std::numeric_limits<std::int64_t>::min();
    for (const NumberCase& row : std::initializer_list<NumberCase>{
             {"", 0, 0},
             {"many", 0, 0},
             {"7", 7, 7},
             {"07/12", 7, 7},
             {" \t\r\n42 minutes", 42, 42},
             {"-5", -5, -5},
             {"+5", 5, 5},
             {"- 5", 0, 0},
             {"-", 0, 0},
             {"1e3", 1, 1},
             {"0x10", 0, 0},
             {"2147483647", 2147483647, 2147483647},
             {"2147483648", std::numeric_limits<std::int32_t>::min(), 2147483648},
             {"3221225472", -1073741824, 3221225472},
             {"-4294967297", -1, -4294967297},
             {"9223372036854775807", -1, kLargest},
             {"9223372036854775808", 0, kLargest},
             {"-9223372036854775808", 0, kSmallest},
             {"-9223372036854775809", -1, kSmallest},
             // No longer a number anybody means, but always the same one: its low 32 bits.
             {"99999999999999999999", 1661992959, kLargest},
         }) {
        EXPECT_EQ(text_int(row.text), row.low) << row.text;
        EXPECT_EQ(text_int64(row.text), row.whole) << row.text;
    }
}

TEST(TextFormat, CutsAsAFixedBufferWould) {
    EXPECT_EQ(text_format(6, "%s", "sound"), "sound");
    EXPECT_EQ(text_format(5, "%s", "sound"), "soun");
    EXPECT_EQ(text_format(1, "%s", "sound"), "");
    EXPECT_EQ(text_format(0, "%s", "sound"), "");
    EXPECT_EQ(text_format(64, "%d%%|%s", 7, "%n"), "7%|%n");
}

TEST(IgnoringCase, FoldsAsciiLettersOnly) {
    EXPECT_TRUE(str_equal_nocase("EnableWeb", "enableweb"));
    EXPECT_FALSE(str_equal_nocase("enableweb", "enablewebs"));
    EXPECT_FALSE(str_equal_nocase("\xC9", "\xE9"));  // the same letter in Latin-1
    EXPECT_FALSE(str_equal_nocase("[", "{"));        // 32 apart as letters are
    EXPECT_TRUE(str_starts_nocase("M-SEARCH * HTTP/1.1", "m-search"));
    EXPECT_TRUE(str_ends_nocase("song.MP3", ".mp3"));
    EXPECT_FALSE(str_ends_nocase("mp3", ".mp3"));
    EXPECT_LT(str_compare_nocase("abc", "ABD"), 0);
    EXPECT_LT(str_compare_nocase("ab", "ABC"), 0);
    EXPECT_GT(str_compare_nocase("\xE9", "z"), 0);
    EXPECT_EQ(str_compare_nocase("ABC", "abc"), 0);
}

TEST(Finding, IgnoresCaseAndStaysWithinTheText) {
    EXPECT_EQ(str_find_nocase("Host: a\r\nRANGE: b", "\nrange:"), 8u);
    EXPECT_EQ(str_find_nocase("aXbX", "x", 2), 3u);
    EXPECT_EQ(str_find_nocase("ab", "abc"), std::string_view::npos);
    EXPECT_EQ(str_find_nocase("ab", ""), 0u);
    EXPECT_EQ(str_find_nocase("ab", "", 2), 2u);
    EXPECT_EQ(str_find_nocase("ab", "", 3), std::string_view::npos);
    EXPECT_EQ(str_find_nocase("aaab", "AAB"), 1u);
}

TEST(Comparing, CountsAMissingTextAsEmptyAndBytesAsUnsigned) {
    EXPECT_EQ(str_compare(std::nullopt, ""), 0);
    EXPECT_LT(str_compare(std::nullopt, "a"), 0);
    EXPECT_GT(str_compare("\xC3\xA9", "z"), 0);
    EXPECT_LT(str_compare("B", "a"), 0);
}

TEST(Editing, ChangesTheFirstOccurrenceOnly) {
    EXPECT_EQ(str_remove("a-b-c", "-"), "ab-c");
    EXPECT_EQ(str_remove("abc", ""), "abc");
    EXPECT_EQ(str_replace_first("a b b", "b", "long"), "a long b");
    EXPECT_EQ(str_replace_first("abc", "", "x"), "abc");
    EXPECT_EQ(str_insert_at("ab", 1, "--"), "a--b");
    EXPECT_EQ(str_insert_at("ab", 4, "c"), "ab  c");
    EXPECT_EQ(str_insert_at("ab", 4, ""), "ab");
    EXPECT_EQ(path_to_slashes("C:\\Music\\a.mp3"), "C:/Music/a.mp3");
}

TEST(Cutting, IsClampedToTheText) {
    EXPECT_EQ(str_substring("abc", 1, 9), "bc");
    EXPECT_EQ(str_substring("abc", 3, 1), "");
    EXPECT_EQ(str_substring("abc", 4, 1), std::nullopt);
    EXPECT_EQ(str_substring("abc", 1, 0), std::nullopt);
    EXPECT_EQ(str_left("abc", 2), "ab");
    EXPECT_EQ(str_left("abc", 9), "abc");
    EXPECT_EQ(str_right("abc", 2), "bc");
    EXPECT_EQ(str_right("abc", 9), "abc");
    EXPECT_EQ(str_trim("  a b\t "), "a b\t");  // the space character alone
    EXPECT_EQ(str_trim("   "), "");
    EXPECT_EQ(path_extension("/a.b/c.MP3"), "MP3");
    EXPECT_EQ(path_extension("README"), "README");
    EXPECT_EQ(path_extension("a."), "");
}

struct BetweenCase {
    const char* text;
    const char* start;
    const char* end;
    Text expected;
};

TEST(Between, TakesWhatStandsBetweenTheMarkers) {
    for (const BetweenCase& row : std::initializer_list<BetweenCase>{
             {"<a>x</a><a>y</a>", "<A>", "</A>", "x"},
             {"<a>x", "<a>", "</a>", std::nullopt},
             {"x</a>", "<a>", "</a>", std::nullopt},
             {"<a></a>", "<a>", "</a>", std::nullopt},
             {"|x|", "|", "|", "x"},
             {"</a><a>x</a>", "<a>", "</a>", "x"},
         }) {
        EXPECT_EQ(str_between(row.text, row.start, row.end), row.expected) << row.text;
    }
}

}  // namespace
