// The texts of tags, file names and protocols: numbers, case, character sets, cleaning, times; and the cursor over
// bytes.
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <string_view>

#include "core/bytes.h"
#include "core/str.h"
#include "core/text_clean.h"
#include "core/time_text.h"
#include "core/utf8.h"
#include "support/rows.h"

namespace {

using std::string_view_literals::operator""sv;

using Texts = Rows<std::string_view, std::string_view>;

TEST(Numbers, AreReadFromTheStartOfAText) {
    constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();
    for (const auto& [text, low, whole] : Rows<const char*, std::int32_t, std::int64_t>{
             {"many", 0, 0},
             {" \t\r\n07/12", 7, 7},
             {"-5", -5, -5},
             {"+5", 5, 5},
             {"- 5", 0, 0},
             {"0x10", 0, 0},
             {"3221225472", -1073741824, 3221225472},
             {"-4294967297", -1, -4294967297},
             {"-9223372036854775809", -1, std::numeric_limits<std::int64_t>::min()},
             // No longer a number anybody means, but always the same one: its low 32 bits.
             {"99999999999999999999", 1661992959, kLargest},
         }) {
        EXPECT_EQ(std::pair(text_int(text), text_int64(text)), std::pair(low, whole)) << text;
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

TEST(Cursor, NeverLeavesItsSpanAndStaysOnFailure) {
    ByteCursor cursor{as_bytes("\x01\x02\x03\x04\x05\xFF\xFE")};
    EXPECT_EQ(cursor.big_endian(2), 0x0102u);
    EXPECT_EQ(cursor.little_endian(3), 0x050403u);
    EXPECT_EQ(cursor.big_endian(3), std::nullopt);
    EXPECT_EQ(cursor.take(static_cast<std::size_t>(-1)), std::nullopt);
    EXPECT_FALSE(cursor.skip(3));
    EXPECT_EQ(as_text(*cursor.take(2)), "\xFF\xFE");
    EXPECT_TRUE(cursor.skip(0));
}

TEST(Utf8, KnowsWhatIsWellFormed) {
    for (const std::string_view good : {""sv, "abc"sv, "\xC3\xA9"sv, "\xE2\x82\xAC"sv, "\xF0\x9F\x8E\xB5"sv,
                                        "\xEF\xBF\xBF"sv, "\xF4\x8F\xBF\xBF"sv, "\xED\x9F\xBF"sv, "a\0b"sv})
        EXPECT_TRUE(utf8_is_well_formed(good)) << testing::PrintToString(good);
    for (const std::string_view bad :
         {"\xE9"sv, "\xC3"sv, "\xC3("sv, "\xA9"sv, "\xC0\x80"sv, "\xC1\xBF"sv, "\xE0\x80\x80"sv, "\xE0\x9F\xBF"sv,
          "\xED\xA0\x80"sv, "\xF0\x80\x80\x80"sv, "\xF0\x8F\xBF\xBF"sv, "\xF4\x90\x80\x80"sv, "\xF5\x80\x80\x80"sv,
          "\xFF"sv, "\xE2\x82"sv, "ab\xF0\x9F\x8E"sv})
        EXPECT_FALSE(utf8_is_well_formed(bad)) << testing::PrintToString(bad);
    std::string_view broken = "\xE2\x82|";
    EXPECT_EQ(utf8_take(broken), std::nullopt);
    EXPECT_EQ(broken.size(), 3u);  // left for the caller to skip
}

TEST(Utf8, TurnsIntoLatin1AndBack) {
    EXPECT_EQ(latin1_to_utf8("\xE9t\xE9"), "\xC3\xA9t\xC3\xA9");
    EXPECT_EQ(utf8_to_latin1("\xC3\xA9t\xC3\xA9"), "\xE9t\xE9");
    EXPECT_EQ(utf8_to_latin1("\u20AC5 \xFF!"), "?5 ?!");
}

TEST(Cleaning, LeavesTidyUtf8) {
    for (const auto& [text, expected] : Texts{
             {"  Caf\xC3\xA9 ", "Caf\xC3\xA9"},
             {"Caf\xE9", "Caf\xC3\xA9"},
             {"Caf\xC3\xA9 \xE9", "Caf\xC3\x83\xC2\xA9 \xC3\xA9"},  // one bad byte and the whole is Latin-1
             {"a\tb\nc\x7F\x01\0d"sv, "abcd"},
         })
        EXPECT_EQ(text_clean(text), expected) << testing::PrintToString(text);
    EXPECT_EQ(text_without_forbidden_controls("a\tb\r\nc\x01\x1F\0\x7F "sv), "a\tb\r\nc\x7F ");
}

TEST(Titles, AreCapitalisedWhereTheyShoutAndComeFromTheBaseName) {
    for (const auto& [text, expected] : Texts{
             {"LOVE ME DO", "Love Me Do"},
             {"LOVE", "LOVE"},
             {"LOVE ME Do", "LOVE ME Do"},
             {"DON'T STOP", "Don't Stop"},
             {"THE 2ND LAW (LIVE)", "The 2nd Law (Live)"},
         })
        EXPECT_EQ(adapt_case(text), expected);
    for (const auto& [text, expected] : Texts{
             {"/a.b/Song", "Song"},
             {"/music/.mp3", ".mp3"},
             {"/music/ \xE9 .mp3", "\xC3\xA9"},
             {"/music/", ""},
         })
        EXPECT_EQ(title_from_path(text), expected) << text;
}

TEST(Times, AreWrittenAndRead) {
    EXPECT_EQ(http_date(1795252526), "Sat, 21 Nov 2026 09:15:26 GMT");
    EXPECT_EQ(format_duration(3'723'004), "1:02:03.004");
    EXPECT_EQ(format_duration(3'600'000'000'000), "1000000:00:00.");  // cut to 14 characters
    EXPECT_EQ(duration_seconds("1:02:03.004"), 3723);
    EXPECT_EQ(duration_seconds("59.9"), 59);
    EXPECT_EQ(duration_seconds("later"), 0);
    duration_seconds(std::string(400, ':') + "99999999999");  // wraps, silently
}

}  // namespace
