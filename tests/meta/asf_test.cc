#include "meta/asf.h"

#include <gtest/gtest.h>

#include "support/asf_builder.h"

using namespace std::string_literals;

namespace {

AudioTags read(const std::string& head, TagCharset charset = TagCharset::ascii) {
    return asf_read(as_bytes(head), head.size(), charset);
}
// With the first attribute of nearly every file; the list is found by it.
AsfHead marked() {
    return AsfHead{}.description("T", "A").attribute("WMFSDKVersion", "9.0");
}

TEST(Asf, TheDescriptionIsFoundWhereverItStands) {
    const std::string described = AsfHead{}.description("T", "A").bytes();
    struct {
        std::string head;
        Text title, artist;
    } const rows[] = {
        {described, "T", "A"},
        {AsfHead{}.filler(100).format(2000).description("Title", "Artist").bytes(), "Title", "Artist"},
        {AsfHead{}.filler(5).description("T", "A", "(c) me").bytes(), "T", "A"},
        {AsfHead{}.filler(40).description("T", "").bytes(), "T", ""},
        {AsfHead{}.filler(40).format(2000).bytes(), {}, {}},
        // Of the header's length the low half is all that counts.
        {AsfHead{}.filler(40).description("T", "A").filler(65'536).bytes(), "T", "A"},
        {AsfHead{}.filler(60'000).description("T", "A").bytes(), {}, {}},
        {"RIFF" + described.substr(4), {}, {}},
        {std::string{described}.replace(54, 4, "\xFF\xFF\xFF\xFF"), {}, {}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(read(row.head).title, row.title) << row.head.size();
        EXPECT_EQ(read(row.head).artist, row.artist) << row.head.size();
    }
}

TEST(Asf, AttributesGiveTrackAndDate) {
    struct {
        AsfHead head;
        std::int32_t track = 0;
        Text date = {};
    } const rows[] = {
        {marked().attribute("WM/TrackNumber", 300u), 44},  // the low byte alone
        {marked().attribute("WM/TrackNumber", "3/12"), 3},
        {marked().attribute("WM/Track", 0u), 1},
        {marked().attribute("WM/Track", "11"), 12},
        {marked().attribute("WM/Track", "A"), -1},
        {marked().attribute("WM/TrackNumber", 5u).attribute("WM/Track", 8u), 5},
        {marked().attribute("WM/Track", 8u).attribute("WM/TrackNumber", 5u), 5},
        {marked().attribute("WM/Year", "1987"), 0, "1987-01-01"},
        {marked().attribute("WM/Year", "05"), 0, "2005-01-01"},
        {marked().attribute("WM/Year", "49").attribute("WM/OriginalReleaseYear", "50"), 0, "1950-01-01"},
        {marked().attribute("WM/OriginalReleaseYear", "1970").attribute("WM/Year", "2001"), 0, "1970-01-01"},
        {marked().attribute("WM/Year", "12345"), 0, "12345-01-0"},
        // A long name ends the list; without the usual name any "WM/" will do.
        {marked().attribute(std::string(60, 'x'), "y").attribute("WM/TrackNumber", 7u)},
        {AsfHead{}.attribute("Author", "A").attribute("WM/TrackNumber", 9u), 9},
        {AsfHead{}.attribute("Author", "A").attribute("Track", 9u)},
    };
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        EXPECT_EQ(read(rows[i].head.bytes()).track, rows[i].track) << i;
        EXPECT_EQ(read(rows[i].head.bytes()).date, rows[i].date) << i;
    }
}

TEST(Asf, AlbumGenreAndPictureWhateverTheCount) {
    const std::string head = marked()
                                 .attribute("WM/AlbumTitle", "Gold")
                                 .raw_attribute("WM/Genre", 0, utf16le_text(U"B\u00F6\u0142"))
                                 .raw_attribute("WM/Picture", 1, "\x03jpeg")
                                 .bytes();
    EXPECT_EQ(read(head, TagCharset::utf8).genre, "Böł");
    EXPECT_FALSE(read(marked().bytes()).album_art);
    // 0 means a hundred; album and genre are found behind the end of the list, too.
    for (const std::size_t count : {4u, 0u, 1u}) {
        std::string changed = head;
        changed.replace(head.find(utf16le_text("WMFSDKVersion")) - 4, 2, little_endian_bytes(count, 2));
        const AudioTags tags = read(changed);
        EXPECT_EQ(tags.album, "Gold") << count;
        EXPECT_EQ(tags.genre, "B\xF6\x42\x01") << count;
        EXPECT_EQ(tags.album_art, count != 1 ? 1 : 0) << count;
    }
}

TEST(Asf, TheDurationComesFromTheByteRate) {
    struct {
        AsfHead head;
        std::uint64_t audio_bytes;
        Text expected = {};
    } const rows[] = {
        {AsfHead{}.format(16'000), 180 * 16'000, "0:02:58.000"},   // two seconds are taken off
        {AsfHead{}.format(16'000), 4502 * 16'000, "0:75:00.000"},  // minutes are not carried
        {AsfHead{}.format(16'000), 2 * 16'000},
        {AsfHead{}.format(0), 1'000'000},
        {AsfHead{}.format(1'000'000), 5'002'000'000, "0:83:20.000"},
        {AsfHead{}.format(16'000, 2, 7999), 180 * 16'000},
        // The first that can be one counts: ten channels cannot.
        {AsfHead{}.format(16'000).format(1'000), 12 * 16'000, "0:00:10.000"},
        {AsfHead{}.format(1, 10).format(1'000'000), 12'000'000, "0:00:09.000"},
    };
    for (const auto& row : rows) {
        const std::string head = row.head.bytes();
        // What counts as sound begins 17 bytes and the codec's own bytes behind the format.
        const std::uint64_t size = head.find("\x61\x01") + 17 + 10 + row.audio_bytes;
        EXPECT_EQ(asf_read(as_bytes(head), size, TagCharset::ascii).duration, row.expected) << row.audio_bytes;
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
            for (int times = 0; times < 5; ++times) EXPECT_EQ(read(head).track, 0);
        }
    }
}

}  // namespace
