#include "meta/itunes_db.h"

#include <gtest/gtest.h>

#include "support/asf_builder.h"
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

TEST(ITunesDb, EveryPlaylistButTheFirstGivesItsSongsInOrder) {
    const Reading reading = read(itunes_database(
        {song(7, "One", ":iPod_Control:Music:F00:ABCD.mp3"), song(9, "Two", ":iPod_Control:Music:F01:E.mp3")},
        {playlist("iPod", {7, 9}), playlist("Best of", {9, 8, 7}), playlist("Rest", {7})}));
    EXPECT_EQ(reading.error, "");
    EXPECT_EQ(reading.entries, (Strings{"Best of 1 Two /ipod/Music/F01/E.mp3", "Best of 2 One /ipod/Music/F00/ABCD.mp3",
                                        "Rest 1 One /ipod/Music/F00/ABCD.mp3"}));
}

TEST(ITunesDb, LocationsGoOnFromTheFirstMusicFolder) {
    const Reading reading =
        read(itunes_database({song(1, "early", ":F00:early.mp3"), song(2, "first", ":X:Music:F00:a.mp3"),
                              song(3, "other", ":Y_longer:Music:F:b.mp3"), song(4, "short", ":a")},
                             {playlist("all", {}), playlist("L", {1, 2, 3, 4})}));
    EXPECT_EQ(reading.entries, (Strings{"L 1 early :F00:early.mp3", "L 2 first /ipod/Music/F00/a.mp3",
                                        "L 3 other /ipod/Music//Music/F/b.mp3", "L 4 short /ipod/Music/"}));
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
    ITunesSong full{.id = 3,
                    .objects = {itunes_opaque(100, 300), itunes_text(1, "Title", 40), itunes_text(77, "what"),
                                itunes_text(4, "Artist"), itunes_text(3, "Album"), itunes_text(5, "Genre"),
                                itunes_text(6, "MPEG audio file"), itunes_text(2, ":i:Music:a.mp3")}};
    ITunesPlaylist list{.objects = {itunes_opaque(100, 600), itunes_opaque(51, 90), itunes_text(1, "L"),
                                    itunes_opaque(52, 10), itunes_text(9, "other")},
                        .ids = {3}};
    const std::string bytes = itunes_database({full}, {playlist("all", {3}), list});
    EXPECT_EQ(read(bytes).entries, (Strings{"L 1 Title /ipod/Music/a.mp3"}));
    EXPECT_EQ(read(bytes).error, "");
}

TEST(ITunesDb, TextsInFull) {
    std::string title = itunes_text(1, "xx");
    title.replace(title.size() - 4, 4, utf16le_text(U"\u00E9\u4E2D").substr(0, 4));
    const std::string bytes = itunes_database({{.id = 1, .objects = {title}}}, {playlist("a", {}), playlist("L", {1})});
    EXPECT_EQ(read(bytes).entries, (Strings{"L 1 \xE9\x2D\x4E -"}));
    EXPECT_EQ(read(bytes, TagCharset::utf8).entries, (Strings{"L 1 \u00E9\u4E2D -"}));
}

std::string with_u32(std::string bytes, std::size_t at, std::uint32_t value) {
    return bytes.replace(at, 4, little_endian_bytes(value, 4));
}

struct BadCase {
    const char* name;
    std::string bytes;
    std::string error;
};
class BadITunesDb : public testing::TestWithParam<BadCase> {};

TEST_P(BadITunesDb, EndsWithItsMessage) {
    EXPECT_EQ(read(GetParam().bytes).error, GetParam().error);
}

const std::string kRecord = itunes_record("mhdb", 0, std::string(20, '\0'));
// Header, song list of one, song of one object.
const std::string kHead = itunes_record("mhdb", 0, "");
const std::string kSongList = itunes_record("mhlt", 1, "");
const std::string kOneSong = kSongList + ITunesSong{.id = 1, .objects = {itunes_text(1, "abc")}}.bytes();
constexpr std::size_t kObjectAt = 12 + 156;

INSTANTIATE_TEST_SUITE_P(
    ITunesDb, BadITunesDb,
    testing::ValuesIn<BadCase>({
        {"empty", "", ""},
        {"cut_header", "mhdb\x0C\0\0"s, ""},
        {"header_too_large", with_u32(kRecord, 4, 2'000'000), "error: record size too large: 2000000\n"},
        {"header_just_too_large", with_u32(kRecord, 4, 1'048'577), "error: record size too large: 1048577\n"},
        {"header_largest", with_u32(kRecord, 4, 1'048'576), ""},
        {"header_0", with_u32(kHead, 4, 0) + kOneSong, ""},
        {"header_11", with_u32(kHead, 4, 11) + kOneSong, ""},
        {"first_record_of_devices", "mhbd" + kHead.substr(4) + kOneSong, ""},
        {"unknown", "mhxx" + kHead, "error: unknown record type: 7878686d, mhxx\n"},
        {"songs_beyond_the_end", with_u32(kOneSong, 8, 0xFFFFFFFF), "error: reading song header: Success\n"},
        {"no_song", kSongList + kHead, "error: invalid song header type: 1650747501\n"},
        {"song_header_too_small", kSongList + ITunesSong{.header_length = 155}.bytes(), "error: song size to small\n"},
        {"song_header_too_large", kSongList + ITunesSong{.header_length = 244}.bytes(), "error: song size to small\n"},
        {"song_cut", kSongList + ITunesSong{}.bytes().substr(0, 100), "error: reading song body: Success\n"},
        {"object_missing", kOneSong.substr(0, kObjectAt), "error: reading song header: Success\n"},
        {"object_cut", kOneSong.substr(0, kObjectAt + 20), "error: reading mhod failed\n"},
        {"text_cut", kOneSong.substr(0, kOneSong.size() - 1), "error: reading mhod failed\n"},
        {"no_object", kOneSong.substr(0, kObjectAt) + kHead, "error: invalid info header type: 1650747501\n"},
        {"object_below_its_text", with_u32(kOneSong, kObjectAt + 8, 37), "error: reading mhod failed\n"},
        {"text_length_max", with_u32(kOneSong, kObjectAt + 28, 0xFFFFFFFF), "error: reading mhod failed\n"},
        {"object_and_text_length_max",
         with_u32(with_u32(kOneSong, kObjectAt + 8, 0xFFFFFFFF), kObjectAt + 28, 0xFFFFFFDF),
         "error: reading mhod failed\n"},
        {"playlist_cut", itunes_record("mhyp", 0, "short"), "error: reading itunesdb_record: Success\n"},
        {"playlist_object_missing", itunes_record("mhyp", 0, little_endian_bytes(1, 4) + std::string(16, '\0')),
         "error: reading info header: Success\n"},
        {"playlist_object_cut",
         itunes_record("mhyp", 0, little_endian_bytes(1, 4) + std::string(16, '\0')) + "mhod12345678",
         "error: reading info body: Success\n"},
        {"entry_missing", playlist("L", {1}).bytes().substr(0, 108 + 34), "error: reading pl song header: Success\n"},
        {"entry_cut", playlist("L", {1}).bytes().substr(0, 108 + 34 + 20), "error: reading pl song body: Success\n"},
        {"no_entry", playlist("L", {1}).bytes().replace(108 + 34, 4, "mhod"),
         "error: invalid pl song header type: 1685022829\n"},
        {"entry_header_too_large", with_u32(playlist("L", {1}).bytes(), 108 + 34 + 4, 2'000'000),
         "error: record size too large: 2000000\n"},
    }),
    [](const auto& c) { return std::string{c.param.name}; });

TEST(ITunesDb, SurvivesEveryTruncation) {
    const std::string whole =
        itunes_database({song(7, "One", ":i:Music:F00:a.mp3")}, {playlist("all", {7}), playlist("L", {7, 7})});
    for (std::size_t n = 0; n <= whole.size(); ++n) {
        const std::vector<char> cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(n));
        EXPECT_LE(read({cut.data(), cut.size()}).entries.size(), 2u) << n;
    }
}

TEST(ITunesDb, MountPathIsTheMusicFolderBesideTheDatabases) {
    EXPECT_EQ(itunesdb_mount_path("/mnt/ipod/iPod_Control/iTunes/iTunesDB"), "/mnt/ipod/iPod_Control/Music/");
    EXPECT_EQ(itunesdb_mount_path("/iTunes/iTunesDB"), "/Music/");
    EXPECT_EQ(itunesdb_mount_path("iTunesDB"), "Music/");
}

TEST(LibraryTime, IsAnOrderingKeyThatWraps) {
    // ((5 * 31 + 2004 * 366 + 1) * 86400 + 12 * 3600 + 34 * 60 + 56 + 1812157440) modulo 2^32
    EXPECT_EQ(library_time_key("2004-05-01T12:34:56Z"), 772'461'296);
    EXPECT_EQ(library_time_key(""), 1'812'157'440);
    EXPECT_EQ(library_time_key("1990-12-31T23:59:59Z"), 351'129'599);
    EXPECT_EQ(library_time_key("2020-01-01T00:00:00Z"), 1'267'660'800);
}

class ITunesImport : public StoreFixture {};

TEST_F(ITunesImport, EntriesBecomeItemsOfTheirPlaylist) {
    ScratchDirectory ipod;
    ipod.write("iPod_Control/Music/F00/a.mp3");
    ipod.write("iPod_Control/Music/F00/b.mp3");
    ITunesSong first = song(1, "First", ":iPod_Control:Music:F00:a.mp3");
    first.objects.insert(first.objects.begin(),
                         {itunes_text(4, "Artist"), itunes_text(3, "Album"), itunes_text(5, "Pop")});
    const std::string path = ipod.write(
        "iPod_Control/iTunes/iTunesDB",
        itunes_database({first, song(2, "Second", ":iPod_Control:Music:F00:b.mp3"), song(3, "Gone", ":i:Music:c.mp3"),
                         song(4, "Away", ":iPod_Control:Music:F00:c.mp3")},
                        {playlist("all", {1, 2, 3}), playlist("L", {2, 3, 4, 1}), playlist("M", {1})}));
    Strings names = itunesdb_import(path);
    EXPECT_EQ(names, (Strings{"L", "M"}));
    EXPECT_EQ(children({"Music", "Playlists", "L"}), (Strings{"(First)", "(Second)"}));
    EXPECT_EQ(children({"Music", "Playlists", "M"}), (Strings{"(First)"}));
    {
        StoreLock lock;
        const MediaItem* const item =
            db_find_in_type(lock, ipod / "iPod_Control/Music/F00/a.mp3", ObjectClass::music_track);
        ASSERT_NE(item, nullptr);
        EXPECT_EQ(item->artist.view(), "Artist");
        EXPECT_EQ(item->album.view(), "Album");
        EXPECT_EQ(item->genre.view(), "Pop");
        EXPECT_EQ(item->track, 4) << "a folder and what is not on the disk have positions, too";
        EXPECT_EQ(item->modified, 1'812'157'440);
        EXPECT_FALSE(item->duration);
    }
    // Another state of the library replaces this one.
    ipod.write("iPod_Control/iTunes/iTunesDB",
               itunes_database({first}, {playlist("all", {1}), playlist("M", {}), playlist("N", {1})}));
    names = itunesdb_import(path, names);
    EXPECT_EQ(names, (Strings{"N"}));
    EXPECT_EQ(children({"Music", "Playlists", "L"}), Strings{});
    EXPECT_EQ(children({"Music", "Playlists", "M"}), Strings{});
    EXPECT_EQ(children({"Music", "Playlists", "N"}), (Strings{"(First)"}));
}

}  // namespace
