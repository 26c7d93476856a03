#include "import/itunes_db.h"

#include <gtest/gtest.h>

#include "import/itunes_thread.h"
#include "support/asf_builder.h"
#include "support/http_peer.h"
#include "support/itunes_builder.h"
#include "support/scratch.h"
#include "support/store_fixture.h"

using namespace std::string_literals;

namespace {

using Strings = std::vector<std::string>;

struct Reading {
    Strings entries;  // "playlist position title location"
    std::string error;
};

Reading read(const std::string& bytes, TagCharset charset = TagCharset::ascii) {
    Reading reading;
    FileWindow file{as_bytes(bytes)};
    reading.error =
        itunesdb_read(file, "/ipod/Music/", charset,
                      [&](const LibrarySong& song, const std::string& playlist, std::int32_t position) {
                          reading.entries.push_back(playlist + " " + std::to_string(position) + " " +
                                                    song.title.value_or("-") + " " + song.location.value_or("-"));
                          return true;
                      });
    return reading;
}

ITunesSong song(std::uint32_t id, std::string_view title, std::string_view location) {
    return {.id = id, .objects = {itunes_text(1, title), itunes_text(2, location)}};
}
ITunesPlaylist playlist(std::string_view name, std::vector<std::uint32_t> ids) {
    return {.objects = {itunes_text(1, name)}, .ids = std::move(ids)};
}

TEST(ITunesDb, EveryPlaylistButTheFirstGivesItsSongsAtTheirPlaces) {
    // Locations go on from the first "Music" folder that is met.
    const Reading reading =
        read(itunes_database({song(1, "early", ":F00:early.mp3"), song(2, "first", ":X:Music:F00:a.mp3"),
                              song(3, "other", ":Y_longer:Music:F:b.mp3"), song(4, "short", ":a")},
                             {playlist("all", {1, 2}), playlist("L", {2, 9, 1, 3, 4}), playlist("M", {2})}));
    EXPECT_EQ(reading.error, "");
    EXPECT_EQ(reading.entries, (Strings{"L 1 first /ipod/Music/F00/a.mp3", "L 2 early :F00:early.mp3",
                                        "L 3 other /ipod/Music//Music/F/b.mp3", "L 4 short /ipod/Music/",
                                        "M 1 first /ipod/Music/F00/a.mp3"}));
}

TEST(ITunesDb, ObjectsBehindALocationEndTheReading) {
    ITunesSong early = song(1, "early", ":i:Music:F00:a.mp3");
    early.objects.push_back(itunes_text(4, "Artist"));
    const Reading reading = read(itunes_database({song(5, "kept", ":i:Music:F00:k.mp3"), early, song(2, "next", ":b")},
                                                 {playlist("all", {}), playlist("L", {1, 5})}));
    EXPECT_EQ(reading.error, "error: invalid song header type: 1685022829\n");  // "mhod"
    EXPECT_EQ(reading.entries, Strings{});

    // Of the last song the objects are left to the walk over all records, which skips them as far as it understands.
    std::string last = itunes_database({early}, {});
    last.resize(last.size() - 108 + 12);
    EXPECT_EQ(read(last).error.substr(0, 35), "error: unknown record type: 0000000");
}

TEST(ITunesDb, UnknownAndOpaqueObjectsAreReadOver) {
    std::string title = itunes_text(1, "xx", 40);
    title.replace(title.size() - 4, 4, utf16le_text(U"\u00E9\u4E2D").substr(0, 4));
    const ITunesSong full{.id = 3,
                          .objects = {itunes_opaque(100, 300), title, itunes_text(77, "what"),
                                      itunes_text(6, "MPEG audio file"), itunes_text(2, ":i:Music:a.mp3")}};
    const ITunesPlaylist list{.objects = {itunes_opaque(100, 600), itunes_opaque(51, 90), itunes_text(1, "L"),
                                          itunes_opaque(52, 10), itunes_text(9, "other")},
                              .ids = {3}};
    const std::string bytes = itunes_database({full}, {playlist("all", {3}), list});
    EXPECT_EQ(read(bytes).entries, (Strings{"L 1 \xE9\x2D\x4E /ipod/Music/a.mp3"}));
    EXPECT_EQ(read(bytes, TagCharset::utf8).entries, (Strings{"L 1 \u00E9\u4E2D /ipod/Music/a.mp3"}));
    EXPECT_EQ(read(bytes).error, "");
}

std::string with_u32(std::string bytes, std::size_t at, std::uint32_t value) {
    return bytes.replace(at, 4, little_endian_bytes(value, 4));
}

TEST(ITunesDb, BrokenOnesEndWithTheirMessage) {
    // Header, song list of one, song of one object; a playlist of one entry.
    const std::string head = itunes_record("mhdb", 0, ""), songs = itunes_record("mhlt", 1, "");
    const std::string one = songs + ITunesSong{.id = 1, .objects = {itunes_text(1, "abc")}}.bytes();
    const std::string list = playlist("L", {1}).bytes();
    const std::string list_head = itunes_record("mhyp", 0, little_endian_bytes(1, 4) + std::string(16, '\0'));
    constexpr std::size_t kObject = 12 + 156, kEntry = 108 + 34;
    const std::pair<std::string, std::string> rows[] = {
        {"", ""},
        {with_u32(itunes_record("mhdb", 0, std::string(20, '\0')), 4, 1'048'576), ""},
        {with_u32(head, 4, 1'048'577), "record size too large: 1048577"},
        {with_u32(head, 4, 0) + one, ""},
        {"mhbd" + head.substr(4) + one, ""},
        {songs + head, "invalid song header type: 1650747501"},
        {songs + ITunesSong{.header_length = 155}.bytes(), "song size to small"},
        {songs + ITunesSong{.header_length = 244}.bytes(), "song size to small"},
        {songs + ITunesSong{}.bytes().substr(0, 100), "reading song body: Success"},
        {one.substr(0, kObject), "reading song header: Success"},
        {one.substr(0, kObject + 20), "reading mhod failed"},
        {one.substr(0, one.size() - 1), "reading mhod failed"},
        {one.substr(0, kObject) + head, "invalid info header type: 1650747501"},
        {with_u32(one, kObject + 8, 37), "reading mhod failed"},  // less than its text
        {with_u32(one, kObject + 28, 0xFFFFFFFF), "reading mhod failed"},
        {with_u32(with_u32(one, kObject + 8, 0xFFFFFFFF), kObject + 28, 0xFFFFFFDF), "reading mhod failed"},
        {itunes_record("mhyp", 0, "short"), "reading itunesdb_record: Success"},
        {list_head, "reading info header: Success"},
        {list_head + "mhod12345678", "reading info body: Success"},
        {list.substr(0, kEntry), "reading pl song header: Success"},
        {list.substr(0, kEntry + 20), "reading pl song body: Success"},
        {std::string{list}.replace(kEntry, 4, "mhod"), "invalid pl song header type: 1685022829"},
        {with_u32(list, kEntry + 4, 2'000'000), "record size too large: 2000000"},
    };
    for (const auto& [bytes, error] : rows)
        EXPECT_EQ(read(bytes).error, error.empty() ? "" : "error: " + error + "\n") << bytes.size();
}

TEST(LibraryTime, IsAnOrderingKeyThatWraps) {
    // ((5 * 31 + 2004 * 366 + 1) * 86400 + 12 * 3600 + 34 * 60 + 56 + 1812157440) modulo 2^32
    EXPECT_EQ(library_time_key("2004-05-01T12:34:56Z"), 772'461'296);
    EXPECT_EQ(library_time_key(""), 1'812'157'440);
    EXPECT_EQ(library_time_key("1990-12-31T23:59:59Z"), 351'129'599);
}

class ITunesImport : public StoreFixture {
protected:
    ITunesImport() {
        ipod_.write("iPod_Control/Music/F00/a.mp3");
        ipod_.write("iPod_Control/Music/F00/b.mp3");
    }
    std::string write(const std::vector<ITunesSong>& songs, const std::vector<ITunesPlaylist>& playlists) {
        return ipod_.write("iPod_Control/iTunes/iTunesDB", itunes_database(songs, playlists));
    }
    const ITunesSong first_ = song(1, "First", ":iPod_Control:Music:F00:a.mp3");
    ScratchDirectory ipod_;
};

TEST_F(ITunesImport, EntriesBecomeItemsOfTheirPlaylist) {
    const std::string path =
        write({first_, song(2, "Second", ":iPod_Control:Music:F00:b.mp3"), song(3, "Gone", ":i:Music:c.mp3"),
               song(4, "Away", ":iPod_Control:Music:F00:c.mp3")},
              {playlist("all", {1, 2, 3}), playlist("L", {2, 3, 4, 1}), playlist("M", {1})});
    Strings names = itunesdb_import(path);
    EXPECT_EQ(names, (Strings{"L", "M"}));
    EXPECT_EQ(children({"Music", "Playlists", "L"}), (Strings{"(First)", "(Second)"}));
    EXPECT_EQ(children({"Music", "Playlists", "M"}), (Strings{"(First)"}));
    {
        StoreLock lock;
        const MediaItem* const item =
            db_find_in_type(lock, ipod_ / "iPod_Control/Music/F00/a.mp3", ObjectClass::music_track);
        ASSERT_NE(item, nullptr);
        EXPECT_EQ(item->track, 4) << "a folder and what is not on the disk have positions, too";
        EXPECT_EQ(item->modified, 1'812'157'440);
        EXPECT_FALSE(item->duration);
    }
    // Another state of the library replaces this one.
    write({first_}, {playlist("all", {1}), playlist("M", {}), playlist("N", {1})});
    names = itunesdb_import(path, names);
    EXPECT_EQ(names, (Strings{"N"}));
    EXPECT_EQ(children({"Music", "Playlists", "L"}), Strings{});
    EXPECT_EQ(children({"Music", "Playlists", "M"}), Strings{});
    EXPECT_EQ(children({"Music", "Playlists", "N"}), (Strings{"(First)"}));
}

TEST_F(ITunesImport, WaitsForTheFirstScanOrTheEnd) {
    static std::atomic<int> asked;
    static std::atomic<bool> begun;
    asked = 0;
    begun = false;
    const LibraryMayBegin may_begin = [] { return ++asked > 0 && begun.load(); };
    RunningFlag ipod, itunes;
    itunes_start(itunes, may_begin);
    EXPECT_TRUE(itunes.idle()) << "there is no library";
    settings_set(Setting::ituneslib, "/nowhere/lib.xml");
    settings_set(Setting::ipoddb, write({first_}, {playlist("all", {}), playlist("L", {1})}));
    itunes_start(itunes, may_begin);
    ASSERT_TRUE(holds_within(30'000, [] { return asked > 0; }));
    itunes.ask_to_stop();
    EXPECT_TRUE(holds_within(30'000, [&] { return itunes.idle(); }));
    ipod_start(ipod, may_begin);
    ASSERT_TRUE(holds_within(30'000, [now = asked.load()] { return asked > now + 1; }));
    EXPECT_EQ(db_count_all_tracks(), 0);
    begun = true;
    EXPECT_TRUE(holds_within(30'000, [] { return children({"Music", "Playlists", "L"}) == Strings{"(First)"}; }));
    ipod.ask_to_stop();
    EXPECT_TRUE(holds_within(30'000, [&] { return ipod.idle(); }));
}

}  // namespace
