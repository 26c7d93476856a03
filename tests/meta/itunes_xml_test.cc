#include "import/itunes_xml.h"

#include <gtest/gtest.h>

#include "support/scratch.h"
#include "support/store_fixture.h"

using namespace std::string_literals;

namespace {

using Strings = std::vector<std::string>;

std::string library(const std::string& tracks, const std::string& playlists) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist>\n<plist version=\"1.0\">\n<dict>\n"
           "\t<key>Features</key><integer>5</integer>\n\t<key>Tracks</key>\n\t<dict>\n" +
           tracks + "\t</dict>\n\t<key>Playlists</key>\n\t<array>\n" + playlists + "\t</array>\n</dict>\n</plist>\n";
}
std::string track(const std::string& id, const std::string& inner) {
    return "<key>" + id + "</key>\n<dict><key>Track ID</key><integer>" + id + "</integer>" + inner + "</dict>\n";
}
std::string text(const std::string& key, const std::string& value, const std::string& element = "string") {
    return "<key>" + key + "</key><" + element + ">" + value + "</" + element + ">\n";
}
std::string playlist(const std::string& name, const std::vector<int>& ids, const std::string& more = {}) {
    std::string items;
    for (const int id : ids) items += "<dict><key>Track ID</key><integer>" + std::to_string(id) + "</integer></dict>\n";
    return "<dict>" + text("Name", name) + more + "<key>Playlist Items</key><array>" + items + "</array></dict>\n";
}
const std::string kAt = text("Location", "file://localhost/m/a.mp3");

struct Entry {
    LibrarySong song;
    std::string place;
};
std::vector<Entry> read(const std::string& document) {
    std::vector<Entry> entries;
    FileWindow file{as_bytes(document)};
    itunes_xml_read(file, [&](const LibrarySong& song, const std::string& name, std::int32_t position) {
        entries.push_back({song, name + " " + std::to_string(position) + " " + song.title.value_or("-")});
        return true;
    });
    return entries;
}
Strings places(const std::string& document) {
    Strings out;
    for (const Entry& entry : read(document)) out.push_back(entry.place);
    return out;
}

TEST(ITunesXml, ReadsTheFieldsOfATrack) {
    const auto entries = read(library(
        track("77", text("Name", "A &#38; B &lt;3") + text("Size", "4294967296", "integer") +
                        text("Date Modified", "2004-05-01T12:34:56Z", "date") + text("Bit Rate", "192", "integer") +
                        "<key>Compilation</key><true/>\n" + text("Artwork Count", "2", "integer") +
                        text("Track Type", "File") + text("Location", "file://localhost/m/a%20b+c%C3%A4.mp3")),
        playlist("Library", {77}) + playlist("Best &#38; rest", {77})));
    ASSERT_EQ(entries.size(), 1u);
    const LibrarySong& song = entries[0].song;
    EXPECT_EQ(entries[0].place, "Best & rest 1 A & B <3");
    EXPECT_EQ(song.size, "4294967296");
    EXPECT_EQ(song.modified, "2004-05-01T12:34:56Z");
    EXPECT_EQ(song.bitrate, 192);
    EXPECT_TRUE(song.compilation);
    EXPECT_TRUE(song.artwork);
    EXPECT_EQ(song.location, "/m/a b+cä.mp3");
}

TEST(ITunesXml, WhichPlaylistsAndTracksCount) {
    const std::string tracks = track("1", text("Name", "one") + kAt) +
                               track("2", text("Name", "stream") + kAt + text("Track Type", "URL")) +
                               track("3", text("Name", "cloud") + text("Track Type", "Remote")) +
                               track("4", text("Name", "web") + text("Location", "http://h/x.mp3")) +
                               track("5", text("Name", "five") + text("Track Type", "File") + kAt);
    EXPECT_EQ(places(library(tracks, playlist("Mediathek", {1, 5}) + playlist("Library", {1}) +
                                         playlist("Again", {1}, "<key>Master</key><true/>") +
                                         playlist("L", {5, 2, 3, 4, 99, 1, 5}) + playlist("Empty", {}) +
                                         "<dict><key>Playlist Items</key><array><dict><key>Track ID</key>"
                                         "<integer>1</integer></dict></array></dict>")),
              (Strings{"L 1 five", "L 2 one", "L 3 five", "Unknown 1 one"}));
}

TEST(ITunesXml, UnusualMarkUp) {
    const std::string plain = library(track("1", text("Name", "one") + kAt), playlist("x", {}) + playlist("L", {1}));
    const Strings expected{"L 1 one"};
    EXPECT_EQ(places(plain), expected);
    const auto changed = [&](std::string_view from, std::string_view to) {
        std::string document = plain;
        return document.replace(document.find(from), from.size(), to);
    };
    for (const auto& document : {
             changed("<key>Name</key>", "<!-- a > b -- ->-><key>x</key><string>y</string> --><key>Name</key>"),
             changed("<string>one</string>", "<string a='>' b=\"/\" >one<!-- no --></string >"),
             changed("<key>Features</key>",
                     "<key>Deep</key><dict><key>Tracks</key><array><dict/></array></dict><key>F</key>"),
             changed("<key>Tracks</key>", "<key>Tracks</key><string/><key>Tracks</key>"),
             changed("<string>one</string>", "<string>one<b><c/>no</b>no</string>"),
             changed("<integer>1</integer>", "<integer>\n1\n</integer>"),
         })
        EXPECT_EQ(places(document), expected) << document;
}

TEST(ITunesXml, LongTextsAreCut) {
    const std::string song = track("1", text("Name", std::string(1 << 20, 'n')) + kAt);
    const auto entries = read(library(song, playlist("x", {}) + playlist("L", {1})));
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].song.title->size(), 64u * 1024u);
}

TEST(ITunesXml, LocationsBecomePaths) {
    EXPECT_EQ(itunes_location_path("file:///m/50%25+.mp3"), "/m/50%+.mp3");
    EXPECT_EQ(itunes_location_path("FILE://LocalHost/x"), "/x");
    for (const char* const other : {"", "/m/a.mp3", "http://h/a.mp3", "file://server/a.mp3", "file:/m/a.mp3"})
        EXPECT_FALSE(itunes_location_path(other)) << other;
}

class ITunesXmlImport : public StoreFixture {};

TEST_F(ITunesXmlImport, TracksOfTheScannerJoinAndOthersAreAdded) {
    ScratchDirectory files;
    db_add_item({.title = "Scanned", .path = files.write("a b.mp3"), .track = 4, .modified = 2'000'000'000});
    files.write("c.mp3");
    const auto located = [&](const char* name) { return text("Location", "file://localhost" + (files / name)); };
    const std::string path = files.write("lib.xml", library(track("1", text("Name", "one") + located("./a%20b.mp3")) +
                                                                track("2", text("Name", "two") + located("c.mp3")) +
                                                                track("3", text("Name", "three") + located("gone.mp3")),
                                                            playlist("Library", {1, 2, 3}) + playlist("L", {2, 3, 1})));
    EXPECT_EQ(itunes_xml_import(path), (Strings{"L"}));
    EXPECT_EQ(children({"Music", "Playlists", "L"}), (Strings{"(Scanned)", "(two)"}));
    const RunningFlag stopped;
    EXPECT_EQ(itunes_xml_import(path, {"L", "M"}, &stopped), (Strings{"L", "M"}));
    EXPECT_EQ(children({"Music", "Playlists", "L"}).size(), 2u) << "a shutdown empties nothing";
}

}  // namespace
