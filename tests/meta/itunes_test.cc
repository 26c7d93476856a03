// Libraries of others: an iPod's database and iTunes' own file.
#include <gtest/gtest.h>

#include <algorithm>

#include "import/itunes_db.h"
#include "import/itunes_xml.h"
#include "support/bytes.h"
#include "support/rows.h"
#include "support/scratch.h"

using namespace std::string_literals;

namespace {

using Strings = std::vector<std::string>;

// "playlist position title location" of every entry.
struct Entries {
    Strings texts;
    LibrarySong last;
    LibraryEntrySink sink() {
        return [this](const LibrarySong& song, const std::string& playlist, std::int32_t position) {
            texts.push_back(playlist + " " + std::to_string(position) + " " + song.title.value_or("-") + " " +
                            song.location.value_or("-"));
            last = song;
            return true;
        };
    }
};

// ---- the database: files of the corpus, whole, cut, or with another number somewhere

struct Reading {
    Strings entries;
    std::string error;
};
Reading read(const std::string& bytes, TagCharset charset = TagCharset::ascii) {
    Entries entries;
    FileWindow file{as_bytes(bytes)};
    const std::string error = itunesdb_read(file, "/ipod/Music/", charset, entries.sink());
    return {entries.texts, error};
}
std::string corpus(const std::string& name) {
    return read_whole_file(PELORAMA_FUZZ_CORPUS "/fuzz_itunes_db/" + name);
}

TEST(ITunesDb, EveryPlaylistButTheFirstGivesItsSongsAtTheirPlaces) {
    // Locations go on from the first "Music" folder that is met; unknown and opaque objects are read over.
    const Reading reading = read(corpus("ipod"));
    EXPECT_EQ(reading.error, "");
    EXPECT_EQ(reading.entries, (Strings{"L 1 first /ipod/Music/F00/a.mp3", "L 2 early :F00:early.mp3",
                                        "L 3 other /ipod/Music//Music/F/b.mp3", "L 4 short /ipod/Music/",
                                        "M 1 first /ipod/Music/F00/a.mp3"}));
    EXPECT_EQ(read(corpus("two_lists")).entries[0], "L 1 T\xE9\x2D\x4E /ipod/Music/F01/b.mp3");
    EXPECT_EQ(read(corpus("two_lists"), TagCharset::utf8).entries[0], "L 1 T\u00E9\u4E2D /ipod/Music/F01/b.mp3");
}

TEST(ITunesDb, BrokenOnesEndWithTheirMessage) {
    // Where the records stand in two_lists; the second playlist has two entries.
    constexpr std::size_t kSongs = 32, kSong = 48, kTitle = 204, kNextSong = 383, kList = 805, kListName = 841,
                          kEntry = 943, kTooLarge = 1'048'577, kDatabase = 0x6264686D;
    const std::string good = corpus("two_lists");
    for (const auto& [keep, at, value, error] : Rows<std::size_t, std::size_t, std::size_t, std::string>{
             {0, 0, kDatabase, ""},
             {kSongs, 4, kTooLarge - 1, ""},
             {kSongs, 4, kTooLarge, "record size too large: 1048577"},
             {kSongs, 4, 0, ""},
             {kSongs, 0, 0x6462686D, ""},  // "mhbd"
             {good.size(), kSong, kDatabase, "invalid song header type: 1650747501"},
             {good.size(), kSong + 4, 155, "song size to small"},
             {good.size(), kSong + 4, 244, "song size to small"},
             {kSong + 100, 0, kDatabase, "reading song body: Success"},
             {kTitle, 0, kDatabase, "reading song header: Success"},
             {kTitle + 20, 0, kDatabase, "reading mhod failed"},
             {good.size(), kTitle, kDatabase, "invalid info header type: 1650747501"},
             {good.size(), kTitle + 8, 37, "reading mhod failed"},  // less than its text
             {good.size(), kTitle + 28, 0xFFFFFFDF, "reading mhod failed"},
             {kNextSong, 0, kDatabase, "reading song header: Success"},
             {kList + 17, 0, kDatabase, "reading itunesdb_record: Success"},
             {kListName, 0, kDatabase, "reading info header: Success"},
             {kListName + 12, 0, kDatabase, "reading info body: Success"},
             {kEntry, 0, kDatabase, "reading pl song header: Success"},
             {kEntry + 20, 0, kDatabase, "reading pl song body: Success"},
             {good.size(), kEntry, 0x646F686D, "invalid pl song header type: 1685022829"},
             {good.size(), kEntry + 4, 2'000'000, "record size too large: 2000000"},
         }) {
        const std::string broken = good.substr(0, keep).replace(std::min(at, keep), 4, little_endian_bytes(value, 4));
        EXPECT_EQ(read(broken).error, error.empty() ? "" : "error: " + error + "\n") << keep << " " << at;
    }
    // Objects behind a location are met where the next song must stand.
    EXPECT_EQ(read(corpus("location_first")).error, "error: invalid song header type: 1685022829\n");
}

TEST(LibraryTime, IsAnOrderingKeyThatWraps) {
    // ((5 * 31 + 2004 * 366 + 1) * 86400 + 12 * 3600 + 34 * 60 + 56 + 1812157440) modulo 2^32
    EXPECT_EQ(library_time_key("2004-05-01T12:34:56Z"), 772'461'296);
    EXPECT_EQ(library_time_key(""), 1'812'157'440);
    EXPECT_EQ(library_time_key("1990-12-31T23:59:59Z"), 351'129'599);
}

// ---- the library file

Entries read_xml(const std::string& document) {
    Entries entries;
    FileWindow file{as_bytes(document)};
    itunes_xml_read(file, entries.sink());
    return entries;
}

TEST(ITunesXml, ReadsTheFieldsOfATrack) {
    const Entries entries = read_xml(corpus("fields"));
    EXPECT_EQ(entries.texts, Strings{"Best & rest 1 A & B <3 /m/a b+cä.mp3"});
    EXPECT_EQ(entries.last.size, "4294967296");
    EXPECT_EQ(entries.last.modified, "2004-05-01T12:34:56Z");
    EXPECT_EQ(entries.last.bitrate, 192);
    EXPECT_TRUE(entries.last.compilation && entries.last.artwork);
}

TEST(ITunesXml, WhichPlaylistsAndTracksCount) {
    // Not the library's own lists, nor empty ones; of the tracks those that are files.
    EXPECT_EQ(read_xml(corpus("lists")).texts,
              (Strings{"L 1 five /m/a.mp3", "L 2 one /m/a.mp3", "L 3 five /m/a.mp3", "Unknown 1 one /m/a.mp3"}));
}

TEST(ITunesXml, UnusualMarkUp) {
    const std::string plain = corpus("plain"), endless(1 << 20, 'n');
    for (const auto& [from, to, title] : Rows<std::string, std::string, std::string>{
             {"<key>Name</key>", "<!-- > -- -><key>Track Type</key><string>URL</string> --><key>Name</key>", "one"},
             {"<string>one</string>", "<string a='>' b=\"/\" >one<!-- no --></string >", "one"},
             {"<key>Features</key>", "<key>Deep</key><dict><key>Tracks</key><array><dict/></array></dict><key>F</key>",
              "one"},
             {"<key>Tracks</key>", "<key>Tracks</key><string/><key>Tracks</key>", "one"},
             {"<string>one</string>", "<string>one<b><c/>no</b>no</string>", "one"},
             {"<integer>1</integer>", "<integer>\n1\n</integer>", "one"},
             {"one", endless, endless.substr(0, 64u * 1024u)},  // long texts are cut
         })
        EXPECT_EQ(read_xml(std::string{plain}.replace(plain.find(from), from.size(), to)).texts,
                  Strings{"L 1 " + title + " /m/a.mp3"})
            << to.substr(0, 100);
}

TEST(ITunesXml, LocationsBecomePaths) {
    EXPECT_EQ(itunes_location_path("file:///m/50%25+.mp3"), "/m/50%+.mp3");
    EXPECT_EQ(itunes_location_path("FILE://LocalHost/x"), "/x");
    for (const char* const other : {"", "/m/a.mp3", "http://h/a.mp3", "file://server/a.mp3", "file:/m/a.mp3"})
        EXPECT_FALSE(itunes_location_path(other)) << other;
}

}  // namespace
