#include "meta/asf.h"

#include <gtest/gtest.h>

#include <vector>

#include "meta/wma.h"
#include "support/asf_builder.h"
#include "support/scratch.h"

using namespace std::string_literals;

namespace {

AudioTags read(const std::string& head, TagCharset charset = TagCharset::ascii, std::uint64_t file_size = 0) {
    return asf_read(as_bytes(head), file_size != 0 ? file_size : head.size(), charset);
}

struct DescriptionCase {
    const char* name;
    std::string head;
    Text title{}, artist{};
};
class AsfDescription : public testing::TestWithParam<DescriptionCase> {};

TEST_P(AsfDescription, IsFoundWhereverItStands) {
    const AudioTags tags = read(GetParam().head);
    EXPECT_EQ(tags.title, GetParam().title);
    EXPECT_EQ(tags.artist, GetParam().artist);
}

INSTANTIATE_TEST_SUITE_P(
    Asf, AsfDescription,
    testing::ValuesIn<DescriptionCase>({
        {"first_child", AsfHead{}.description("T", "A").bytes(), "T", "A"},
        {"behind_others", AsfHead{}.filler(100).format(2000).description("Title", "Artist").bytes(), "Title", "Artist"},
        {"behind_others_with_copyright", AsfHead{}.filler(5).description("T", "A", "(c) me").bytes(), "T", "A"},
        {"without_an_artist", AsfHead{}.filler(40).description("T", "").bytes(), "T", ""},
        {"none", AsfHead{}.filler(40).format(2000).bytes(), {}, {}},
        {"behind_65536_bytes_of_header",  // the length's low half is all that counts
         AsfHead{}.filler(40).description("T", "A").filler(65'536).bytes(), "T", "A"},
        {"behind_the_first_60000_bytes", AsfHead{}.filler(60'000).description("T", "A").bytes(), {}, {}},
        {"not_asf", "RIFF" + AsfHead{}.description("T", "A").bytes().substr(4), {}, {}},
        {"lengths_beyond_the_end", AsfHead{}.description("T", "A").bytes().replace(54, 4, "\xFF\xFF\xFF\xFF"), {}, {}},
    }),
    [](const auto& c) { return std::string{c.param.name}; });

struct AttributeCase {
    const char* name;
    AsfHead head;
    std::int32_t track = 0;
    Text date{};
};
class AsfAttributes : public testing::TestWithParam<AttributeCase> {};

TEST_P(AsfAttributes, GiveTrackAndDate) {
    // The first attribute of nearly every file; the list is found by it.
    const std::string with_mark = GetParam().head.bytes();
    const AudioTags tags = read(with_mark);
    EXPECT_EQ(tags.track, GetParam().track);
    EXPECT_EQ(tags.date, GetParam().date);
}

AsfHead marked() {
    return AsfHead{}.description("T", "A").attribute("WMFSDKVersion", "9.0");
}

INSTANTIATE_TEST_SUITE_P(
    Asf, AsfAttributes,
    testing::ValuesIn<AttributeCase>({
        {"number", marked().attribute("WM/TrackNumber", 7u), 7},
        {"low_byte_alone", marked().attribute("WM/TrackNumber", 300u), 44},
        {"text_with_total", marked().attribute("WM/TrackNumber", "3/12"), 3},
        {"zero_based", marked().attribute("WM/Track", 0u), 1},
        {"zero_based_text", marked().attribute("WM/Track", "11"), 12},
        {"zero_based_without_digits", marked().attribute("WM/Track", "A"), -1},
        {"number_wins_before", marked().attribute("WM/TrackNumber", 5u).attribute("WM/Track", 8u), 5},
        {"number_wins_behind", marked().attribute("WM/Track", 8u).attribute("WM/TrackNumber", 5u), 5},
        {"year", marked().attribute("WM/Year", "1987"), 0, "1987-01-01"},
        {"year_05", marked().attribute("WM/Year", "05"), 0, "2005-01-01"},
        {"year_98", marked().attribute("WM/Year", "98"), 0, "1998-01-01"},
        {"year_49_and_50", marked().attribute("WM/Year", "49").attribute("WM/OriginalReleaseYear", "50"), 0,
         "1950-01-01"},
        {"original_wins", marked().attribute("WM/OriginalReleaseYear", "1970").attribute("WM/Year", "2001"), 0,
         "1970-01-01"},
        {"five_digits_are_cut", marked().attribute("WM/Year", "12345"), 0, "12345-01-0"},
        {"a_long_name_ends_the_list", marked().attribute(std::string(60, 'x'), "y").attribute("WM/TrackNumber", 7u)},
        {"without_the_mark", AsfHead{}.description("T", "A").attribute("Author", "A").attribute("WM/TrackNumber", 9u),
         9},
        {"without_any_mark", AsfHead{}.description("T", "A").attribute("Author", "A").attribute("Track", 9u)},
    }),
    [](const auto& c) { return std::string{c.param.name}; });

TEST(Asf, ReadsAlbumGenreAndPicture) {
    const AudioTags tags = read(marked()
                                  .attribute("WM/AlbumTitle", "Gold")
                                  .attribute("WM/Genre", "(17)")
                                  .raw_attribute("WM/Picture", 1, "\x03jpeg")
                                  .bytes());
    EXPECT_EQ(tags.album, "Gold");
    EXPECT_EQ(tags.genre, "(17)");
    EXPECT_TRUE(tags.album_art);
    EXPECT_FALSE(read(marked().bytes()).album_art);
}

TEST(Asf, LooksForAlbumAndGenreBehindTheEndOfTheList) {
    // More attributes than are counted, as in files whose list is found by a later one.
    std::string head = marked().attribute("WM/AlbumTitle", "Gold").attribute("WM/Genre", "Pop").bytes();
    const std::size_t count = head.find(utf16le_text("WMFSDKVersion")) - 4;
    head.replace(count, 2, "\x01\0"s);
    const AudioTags tags = read(head);
    EXPECT_EQ(tags.album, "Gold");
    EXPECT_EQ(tags.genre, "Pop");
}

TEST(Asf, CountZeroMeansAHundred) {
    std::string head = marked().attribute("WM/TrackNumber", 6u).bytes();
    head.replace(head.find(utf16le_text("WMFSDKVersion")) - 4, 2, "\0\0"s);
    EXPECT_EQ(read(head).track, 6);
}

TEST(Asf, NarrowsTextsOrKeepsThemInFull) {
    AsfHead head = AsfHead{}.description("T", "A").attribute("WMFSDKVersion", "9");
    head.raw_attribute("WM/AlbumTitle", 0, utf16le_text(U"B\u00F6\u0142"));
    EXPECT_EQ(read(head.bytes()).album, "B\xF6\x42\x01");
    EXPECT_EQ(read(head.bytes(), TagCharset::utf8).album, "Böł");
}

struct DurationCase {
    const char* name;
    AsfHead head;
    std::uint64_t audio_bytes;
    Text expected{};
};
class AsfDuration : public testing::TestWithParam<DurationCase> {};

TEST_P(AsfDuration, ComesFromTheByteRate) {
    const std::string head = GetParam().head.bytes();
    // What counts as sound begins 17 bytes and the codec's own bytes behind the format.
    const std::size_t format = head.find("\x61\x01");
    const std::uint64_t size = format + 17 + 10 + GetParam().audio_bytes;
    EXPECT_EQ(read(head, TagCharset::ascii, size).duration, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Asf, AsfDuration,
    testing::ValuesIn<DurationCase>({
        {"two_seconds_are_taken_off", AsfHead{}.format(16'000), 180 * 16'000, "0:02:58.000"},
        {"minutes_are_not_carried", AsfHead{}.format(16'000), 4502 * 16'000, "0:75:00.000"},
        {"too_short", AsfHead{}.format(16'000), 2 * 16'000, {}},
        {"byte_rate_zero", AsfHead{}.format(0), 1'000'000, {}},
        {"beyond_4_gib", AsfHead{}.format(1'000'000), 5'002'000'000, "0:83:20.000"},
        {"many_channels", AsfHead{}.format(16'000, 10), 180 * 16'000, {}},
        {"low_rate", AsfHead{}.format(16'000, 2, 7999), 180 * 16'000, {}},
        {"only_the_first_counts", AsfHead{}.format(16'000).format(1'000), 12 * 16'000, "0:00:10.000"},
        {"a_later_one_when_the_first_is_none", AsfHead{}.format(1, 10).format(1'000'000), 12'000'000, "0:00:09.000"},
    }),
    [](const auto& c) { return std::string{c.param.name}; });

TEST(Asf, SurvivesEveryTruncation) {
    const std::string whole =
        marked().format(16'000).attribute("WM/AlbumTitle", "Gold").attribute("WM/TrackNumber", 6u).bytes();
    for (std::size_t n = 0; n <= whole.size(); ++n) {
        // A copy of its own, so that a sanitizer sees a byte too many.
        const std::vector<char> cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(n));
        const AudioTags tags = asf_read(as_bytes({cut.data(), cut.size()}), 1'000'000, TagCharset::ascii);
        EXPECT_TRUE(!tags.title || (n >= kAsfLeastBytes && tags.title == "T")) << n;
        EXPECT_TRUE(!tags.album || tags.album == "Gold") << n;
    }
}

// A search that is quadratic in the head would run into the time limit of this program.
TEST(Asf, HeadsMadeToBeSlowAreNot) {
    const std::string start = AsfHead{}.filler(0).bytes().replace(16, 8, "\xFF\xFF\0\0\0\0\0\0"s);
    for (const std::string& piece : {"\x01"s, "\x02\x01"s, "\x10\x10\x01\x01"s, "W\0M\0/\0"s, "\x61\x01"s}) {
        std::string head = start;
        while (head.size() < kAsfHeadBytes) head += piece;
        // Zero pairs far apart make most positions look promising.
        for (const std::size_t step : {0x101u, 0x1010u, 0xFFFFu}) {
            for (std::size_t i = start.size(); i + 1 < head.size(); i += step) head.replace(i, 2, "\0\0"s);
            for (int times = 0; times < 20; ++times) EXPECT_EQ(read(head).track, 0);
        }
    }
}

TEST(Wma, AFileThatSaysNothingHasSizeAndTime) {
    ScratchDirectory scratch;
    for (const std::size_t size : {0u, 49u, 50u, 70'000u}) {
        const AudioTags tags = wma_read_tags(scratch.write("a.wma", std::string(size, 'x')));
        EXPECT_EQ(tags.size, size);
        EXPECT_GT(tags.modified, 1'000'000'000);
        EXPECT_FALSE(tags.title);
    }
    EXPECT_EQ(wma_read_tags(scratch / "none.wma").modified, 0);
}

}  // namespace
