// Libraries of others: an iPod's database and iTunes' own file.
#include <gtest/gtest.h>

#include "import/itunes_db.h"
#include "import/itunes_xml.h"
#include "support/bytes.h"
#include "support/rows.h"

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

// ---- the database, made from its record layout

std::string u32(std::size_t value) {
    return little_endian_bytes(value, 4);
}
std::string filled(std::string bytes, std::size_t size) {
    bytes.resize(size, '\0');
    return bytes;
}

// Any record: tag, header length, total length or count, the rest of the header.
std::string record(const std::string& tag, std::size_t total, const std::string& rest) {
    return tag + u32(12 + rest.size()) + u32(total) + rest;
}
// A data object, and one with a text; padding bytes stand between header and text.
std::string object(std::size_t type, const std::string& body, std::size_t text_bytes) {
    return "mhod" + u32(24) + u32(32 + body.size()) + u32(type) + u32(0) + u32(0) + u32(1) + u32(text_bytes) + body;
}
std::string text_object(std::size_t type, std::u16string_view text, std::size_t padding = 0) {
    const std::string wide = utf16le_text(text).substr(0, 2 * text.size());  // no terminator
    return object(type, std::string(padding, '\x7F') + wide, wide.size());
}
std::string opaque(std::size_t type, std::size_t bytes) {
    return object(type, std::string(bytes, '\x6D'), 7);
}

std::string song(std::size_t id, const std::vector<std::string>& objects, std::size_t header_length = 156) {
    constexpr std::size_t kTrack = 5;
    std::string out = filled("mhit" + u32(header_length) + u32(0) + u32(objects.size()) + u32(id), 44) + u32(kTrack);
    out.resize(header_length, '\0');
    for (const std::string& each : objects) out += each;
    return out;
}
std::string song(std::size_t id, std::u16string_view title, std::u16string_view location) {
    return song(id, {text_object(1, title), text_object(2, location)});
}
std::string playlist(const std::vector<std::string>& objects, const std::vector<std::size_t>& ids) {
    std::string out = record("mhyp", 0, filled(u32(objects.size()) + u32(ids.size()), 96));
    for (const std::string& each : objects) out += each;
    for (const std::size_t id : ids) out += record("mhip", 0, filled(std::string(12, '\0') + u32(id), 64));
    return out;
}
std::string playlist(std::u16string_view name, const std::vector<std::size_t>& ids) {
    return playlist({text_object(1, name)}, ids);
}
// A header and two data sets.
std::string database(const std::vector<std::string>& songs, const std::vector<std::string>& playlists) {
    const std::string pad(84, '\0');
    std::string out = record("mhdb", 0, pad) + record("mhsd", 0, pad) + record("mhlt", songs.size(), pad);
    for (const std::string& each : songs) out += each;
    out += record("mhsd", 0, pad) + record("mhlp", playlists.size(), pad);
    for (const std::string& each : playlists) out += each;
    return out;
}

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

TEST(ITunesDb, EveryPlaylistButTheFirstGivesItsSongsAtTheirPlaces) {
    // Locations go on from the first "Music" folder that is met.
    const Reading reading =
        read(database({song(1, u"early", u":F00:early.mp3"), song(2, u"first", u":X:Music:F00:a.mp3"),
                       song(3, u"other", u":Y_longer:Music:F:b.mp3"), song(4, u"short", u":a")},
                      {playlist(u"all", {1, 2}), playlist(u"L", {2, 9, 1, 3, 4}), playlist(u"M", {2})}));
    EXPECT_EQ(reading.error, "");
    EXPECT_EQ(reading.entries, (Strings{"L 1 first /ipod/Music/F00/a.mp3", "L 2 early :F00:early.mp3",
                                        "L 3 other /ipod/Music//Music/F/b.mp3", "L 4 short /ipod/Music/",
                                        "M 1 first /ipod/Music/F00/a.mp3"}));
}

TEST(ITunesDb, ObjectsBehindALocationEndTheReading) {
    const std::string early =
        song(1, {text_object(1, u"early"), text_object(2, u":i:Music:F00:a.mp3"), text_object(4, u"Artist")});
    const Reading reading = read(database({song(5, u"kept", u":i:Music:F00:k.mp3"), early, song(2, u"next", u":b")},
                                          {playlist(u"all", {}), playlist(u"L", {1, 5})}));
    EXPECT_EQ(reading.error, "error: invalid song header type: 1685022829\n");  // "mhod"
    EXPECT_EQ(reading.entries, Strings{});
    // Of the last song the objects are left to the walk over all records, which skips them as far as it understands.
    std::string last = database({early}, {});
    last.resize(last.size() - 96);
    EXPECT_EQ(read(last).error.substr(0, 35), "error: unknown record type: 0000000");
}

TEST(ITunesDb, UnknownAndOpaqueObjectsAreReadOver) {
    const std::string full = song(3, {opaque(100, 300), text_object(1, u"\u00E9\u4E2D", 40), text_object(77, u"what"),
                                      text_object(6, u"MPEG audio file"), text_object(2, u":i:Music:a.mp3")});
    const std::string list = playlist(
        {opaque(100, 600), opaque(51, 90), text_object(1, u"L"), opaque(52, 10), text_object(9, u"other")}, {3});
    const std::string bytes = database({full}, {playlist(u"all", {3}), list});
    EXPECT_EQ(read(bytes).entries, (Strings{"L 1 \xE9\x2D\x4E /ipod/Music/a.mp3"}));
    EXPECT_EQ(read(bytes, TagCharset::utf8).entries, (Strings{"L 1 \u00E9\u4E2D /ipod/Music/a.mp3"}));
    EXPECT_EQ(read(bytes).error, "");
}

TEST(ITunesDb, BrokenOnesEndWithTheirMessage) {
    const auto with_u32 = [](std::string bytes, std::size_t at, std::size_t value) {
        return bytes.replace(at, 4, u32(value));
    };
    // Header, song list of one, song of one object; a playlist of one entry.
    const std::string head = record("mhdb", 0, ""), songs = record("mhlt", 1, "");
    const std::string one = songs + song(1, {text_object(1, u"abc")}), list = playlist(u"L", {1});
    const std::string list_head = record("mhyp", 0, u32(1) + std::string(16, '\0'));
    constexpr std::size_t kObject = 12 + 156, kEntry = 108 + 34;
    for (const auto& [bytes, error] : Rows<std::string, std::string>{
             {"", ""},
             {with_u32(record("mhdb", 0, std::string(20, '\0')), 4, 1'048'576), ""},
             {with_u32(head, 4, 1'048'577), "record size too large: 1048577"},
             {with_u32(head, 4, 0) + one, ""},
             {"mhbd" + head.substr(4) + one, ""},
             {songs + head, "invalid song header type: 1650747501"},
             {songs + song(0, {}, 155), "song size to small"},
             {songs + song(0, {}, 244), "song size to small"},
             {songs + song(0, {}).substr(0, 100), "reading song body: Success"},
             {one.substr(0, kObject), "reading song header: Success"},
             {one.substr(0, kObject + 20), "reading mhod failed"},
             {one.substr(0, kObject) + head, "invalid info header type: 1650747501"},
             {with_u32(one, kObject + 8, 37), "reading mhod failed"},  // less than its text
             {with_u32(with_u32(one, kObject + 8, 0xFFFFFFFF), kObject + 28, 0xFFFFFFDF), "reading mhod failed"},
             {record("mhyp", 0, "short"), "reading itunesdb_record: Success"},
             {list_head, "reading info header: Success"},
             {list_head + "mhod12345678", "reading info body: Success"},
             {list.substr(0, kEntry), "reading pl song header: Success"},
             {list.substr(0, kEntry + 20), "reading pl song body: Success"},
             {std::string{list}.replace(kEntry, 4, "mhod"), "invalid pl song header type: 1685022829"},
             {with_u32(list, kEntry + 4, 2'000'000), "record size too large: 2000000"},
         })
        EXPECT_EQ(read(bytes).error, error.empty() ? "" : "error: " + error + "\n") << bytes.size();
}

TEST(LibraryTime, IsAnOrderingKeyThatWraps) {
    // ((5 * 31 + 2004 * 366 + 1) * 86400 + 12 * 3600 + 34 * 60 + 56 + 1812157440) modulo 2^32
    EXPECT_EQ(library_time_key("2004-05-01T12:34:56Z"), 772'461'296);
    EXPECT_EQ(library_time_key(""), 1'812'157'440);
    EXPECT_EQ(library_time_key("1990-12-31T23:59:59Z"), 351'129'599);
}

// ---- the library file

std::string text(const std::string& key, const std::string& value, const std::string& element = "string") {
    return "<key>" + key + "</key><" + element + ">" + value + "</" + element + ">\n";
}
std::string track(const std::string& id, const std::string& inner) {
    return "<key>" + id + "</key>\n<dict>" + text("Track ID", id, "integer") + inner + "</dict>\n";
}
std::string list(const std::string& name, const std::vector<int>& ids, const std::string& more = {}) {
    std::string items;
    for (const int id : ids) items += "<dict>" + text("Track ID", std::to_string(id), "integer") + "</dict>";
    return "<dict>" + text("Name", name) + more + "<key>Playlist Items</key><array>" + items + "</array></dict>\n";
}
std::string library(const std::string& tracks, const std::string& lists) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist>\n<plist version=\"1.0\">\n<dict>\n"
           "\t<key>Features</key><integer>5</integer>\n\t<key>Tracks</key>\n\t<dict>\n" +
           tracks + "\t</dict>\n\t<key>Playlists</key>\n\t<array>\n" + lists + "\t</array>\n</dict>\n</plist>\n";
}
const std::string kAt = text("Location", "file:///m/a.mp3");

Entries read_xml(const std::string& document) {
    Entries entries;
    FileWindow file{as_bytes(document)};
    itunes_xml_read(file, entries.sink());
    return entries;
}

TEST(ITunesXml, ReadsTheFieldsOfATrack) {
    const Entries entries = read_xml(library(
        track("77", text("Name", "A &#38; B &lt;3") + text("Size", "4294967296", "integer") +
                        text("Date Modified", "2004-05-01T12:34:56Z", "date") + text("Bit Rate", "192", "integer") +
                        "<key>Compilation</key><true/>\n" + text("Artwork Count", "2", "integer") +
                        text("Track Type", "File") + text("Location", "file://localhost/m/a%20b+c%C3%A4.mp3")),
        list("Library", {77}) + list("Best &#38; rest", {77})));
    EXPECT_EQ(entries.texts, Strings{"Best & rest 1 A & B <3 /m/a b+cä.mp3"});
    EXPECT_EQ(entries.last.size, "4294967296");
    EXPECT_EQ(entries.last.modified, "2004-05-01T12:34:56Z");
    EXPECT_EQ(entries.last.bitrate, 192);
    EXPECT_TRUE(entries.last.compilation);
    EXPECT_TRUE(entries.last.artwork);
    // Long texts are cut.
    const std::string endless = track("1", text("Name", std::string(1 << 20, 'n')) + kAt);
    EXPECT_EQ(read_xml(library(endless, list("x", {}) + list("L", {1}))).last.title->size(), 64u * 1024u);
}

TEST(ITunesXml, WhichPlaylistsAndTracksCount) {
    const std::string tracks = track("1", text("Name", "one") + kAt) +
                               track("2", text("Name", "stream") + kAt + text("Track Type", "URL")) +
                               track("3", text("Name", "cloud") + text("Track Type", "Remote")) +
                               track("4", text("Name", "web") + text("Location", "http://h/x.mp3")) +
                               track("5", text("Name", "five") + text("Track Type", "File") + kAt);
    EXPECT_EQ(read_xml(library(tracks, list("Mediathek", {1, 5}) + list("Library", {1}) +
                                           list("Again", {1}, "<key>Master</key><true/>") +
                                           list("L", {5, 2, 3, 4, 99, 1, 5}) + list("Empty", {}) +
                                           "<dict><key>Playlist Items</key><array><dict><key>Track ID</key>"
                                           "<integer>1</integer></dict></array></dict>"))
                  .texts,
              (Strings{"L 1 five /m/a.mp3", "L 2 one /m/a.mp3", "L 3 five /m/a.mp3", "Unknown 1 one /m/a.mp3"}));
}

TEST(ITunesXml, UnusualMarkUp) {
    const std::string plain = library(track("1", text("Name", "one") + kAt), list("x", {}) + list("L", {1}));
    for (const auto& [from, to] : Rows<std::string, std::string>{
             {"", ""},
             {"<key>Name</key>", "<!-- a > b -- ->-></dict> --><key>Name</key>"},
             {"<string>one</string>", "<string a='>' b=\"/\" >one<!-- no --></string >"},
             {"<key>Features</key>", "<key>Deep</key><dict><key>Tracks</key><array><dict/></array></dict><key>F</key>"},
             {"<key>Tracks</key>", "<key>Tracks</key><string/><key>Tracks</key>"},
             {"<string>one</string>", "<string>one<b><c/>no</b>no</string>"},
             {"<integer>1</integer>", "<integer>\n1\n</integer>"},
         })
        EXPECT_EQ(read_xml(std::string{plain}.replace(plain.find(from), from.size(), to)).texts,
                  Strings{"L 1 one /m/a.mp3"})
            << to;
}

TEST(ITunesXml, LocationsBecomePaths) {
    EXPECT_EQ(itunes_location_path("file:///m/50%25+.mp3"), "/m/50%+.mp3");
    EXPECT_EQ(itunes_location_path("FILE://LocalHost/x"), "/x");
    for (const char* const other : {"", "/m/a.mp3", "http://h/a.mp3", "file://server/a.mp3", "file:/m/a.mp3"})
        EXPECT_FALSE(itunes_location_path(other)) << other;
}

}  // namespace
