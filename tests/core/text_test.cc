// The texts of tags, file names and protocols: cleaning, character sets, dates, durations.
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "core/text_clean.h"
#include "core/time_text.h"
#include "core/utf8.h"

namespace {

using std::string_view_literals::operator""sv;

TEST(Utf8, KnowsWhatIsWellFormed) {
    for (const std::string_view good : {""sv, "abc"sv, "\xC3\xA9"sv, "\xE2\x82\xAC"sv, "\xF0\x9F\x8E\xB5"sv,
                                        "\xEF\xBF\xBF"sv, "\xF4\x8F\xBF\xBF"sv, "\xED\x9F\xBF"sv, "a\0b"sv})
        EXPECT_TRUE(utf8_is_well_formed(good)) << testing::PrintToString(good);
    for (const std::string_view bad :
         {"\xE9"sv, "\xC3"sv, "\xC3("sv, "\xA9"sv, "\xC0\x80"sv, "\xC1\xBF"sv, "\xE0\x80\x80"sv, "\xE0\x9F\xBF"sv,
          "\xED\xA0\x80"sv, "\xF0\x80\x80\x80"sv, "\xF0\x8F\xBF\xBF"sv, "\xF4\x90\x80\x80"sv, "\xF5\x80\x80\x80"sv,
          "\xFF"sv, "\xE2\x82"sv, "ab\xF0\x9F\x8E"sv})
        EXPECT_FALSE(utf8_is_well_formed(bad)) << testing::PrintToString(bad);
}

TEST(Utf8, TakesAndAppendsEveryLength) {
    for (const std::uint32_t code : {0x00u, 0x7Fu, 0x80u, 0x7FFu, 0x800u, 0xD7FFu, 0xFFFFu, 0x10000u, 0x10FFFFu}) {
        std::string text;
        utf8_append(text, code);
        std::string_view rest = text;
        EXPECT_EQ(utf8_take(rest), code);
        EXPECT_TRUE(rest.empty());
    }
    std::string_view broken = "\xE2\x82|";
    EXPECT_EQ(utf8_take(broken), std::nullopt);
    EXPECT_EQ(broken.size(), 3u);  // left for the caller to skip
}

TEST(Utf8, TurnsIntoLatin1AndBack) {
    EXPECT_EQ(latin1_to_utf8("\xE9t\xE9"), "\xC3\xA9t\xC3\xA9");
    EXPECT_EQ(utf8_to_latin1("\xC3\xA9t\xC3\xA9"), "\xE9t\xE9");
    EXPECT_EQ(utf8_to_latin1("\xE2\x82\xAC"
                             "5 \xFF!"),
              "?5 ?!");
}

struct CleanCase {
    std::string_view text, expected;
};

TEST(Cleaning, LeavesTidyUtf8) {
    for (const CleanCase& row : std::initializer_list<CleanCase>{
             {"  Caf\xC3\xA9 ", "Caf\xC3\xA9"},
             {"Caf\xE9", "Caf\xC3\xA9"},
             {"Caf\xC3\xA9 \xE9", "Caf\xC3\x83\xC2\xA9 \xC3\xA9"},  // one bad byte and the whole is Latin-1
             {"a\tb\nc\x7F\x01\0d"sv, "abcd"},
         })
        EXPECT_EQ(text_clean(row.text), row.expected) << testing::PrintToString(row.text);
    EXPECT_EQ(text_without_forbidden_controls("a\tb\r\nc\x01\x1F\0\x7F "sv), "a\tb\r\nc\x7F ");
}

TEST(AdaptCase, CapitalisesShoutedTitlesOnly) {
    for (const CleanCase& row : std::initializer_list<CleanCase>{
             {"LOVE ME DO", "Love Me Do"},
             {"LOVE", "LOVE"},
             {"LOVE ME Do", "LOVE ME Do"},
             {"DON'T STOP", "Don't Stop"},
             {"THE 2ND LAW (LIVE)", "The 2nd Law (Live)"},
         })
        EXPECT_EQ(adapt_case(row.text), row.expected);
}

TEST(Titles, ComeFromTheBaseName) {
    for (const CleanCase& row : std::initializer_list<CleanCase>{
             {"/a.b/Song", "Song"},
             {"/music/.mp3", ".mp3"},
             {"/music/ \xE9 .mp3", "\xC3\xA9"},
             {"/music/", ""},
         })
        EXPECT_EQ(title_from_path(row.text), row.expected) << row.text;
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
