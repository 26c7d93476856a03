#include "db/store.h"

#include <gmock/gmock.h>

#include "db/played_lists.h"
#include "db/update.h"
#include "db/upkeep.h"
#include "support/rows.h"
#include "support/store_fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Store = StoreFixture;

TEST_F(Store, CreatesTheFixedTreeInOrder) {
    EXPECT_THAT(children({}), ElementsAre("Videos", "Pictures", "Music"));
    EXPECT_THAT(children({"Music"}),
                ElementsAre("Alpha", "Year/Artist", "Year/Albums", "Genres/Artists", "Artists/Albums", "Folders",
                            "Albums", "Genres", "Artists", "Internet Radio", "All Tracks", "Playlists"));
    EXPECT_THAT(children({"Music", "Playlists"}), ElementsAre("- Last Played -", "- Most Played -"));
    EXPECT_THAT(children({"Music", "Internet Radio"}), ElementsAre("- Favorites- "));
    EXPECT_THAT(children({"Pictures"}), ElementsAre("Date", "Folders", "All Pictures"));
    EXPECT_THAT(children({"Videos"}), ElementsAre("Folders", "All Videos"));
    StoreLock lock;
    EXPECT_EQ(store(lock).music->id + 1, store(lock).playlists->id);
    EXPECT_EQ(store(lock).most_played->id + 1, store(lock).last_played->id);
}

TEST_F(Store, RefusesWhatItCannotHold) {
    for (const NewItem& item : std::initializer_list<NewItem>{
             {.title = "No path"},
             {.title = "No file", .path = "/nonexistent/x.mp3"},
             {.title = "Bad class", .media_class = ObjectClass::container, .path = "http://h/1"},
             {.title = "No genre", .media_class = ObjectClass::audio_broadcast, .path = "http://h/2"},
         })
        EXPECT_EQ(db_add_item(NewItem{item}), AddResult::failed) << *item.title;
    EXPECT_THAT(children({"Music", "All Tracks"}), IsEmpty());
}

TEST_F(Store, CleansTitlesAndTakesTheFileNameWhereThereIsNone) {
    for (const char* title : {"Tab\there ", "LOVE ME DO", "caf\xE9", "\x01\x02 "})
        add({.title = title, .path = "http://h/" + std::string{title} + "/some file.mp3"});
    EXPECT_THAT(children({"Music", "All Tracks"}),
                ElementsAre("(some file)", "(caf\xC3\xA9)", "(Love Me Do)", "(Tabhere)"));
}

TEST_F(Store, PutsTracksAndStationsWhereTheirPlaylistSays) {
    add({.title = "One", .path = "http://h/1"});
    for (const std::int32_t position : {7, 9})
        EXPECT_EQ(db_add_item({.playlist = "Party", .path = "http://h/1", .track = position}),
                  AddResult::already_present);
    add({.title = "Two", .playlist = "Party", .path = "http://h/2", .track = 8});
    EXPECT_THAT(children({"Music", "Playlists", "Party"}), ElementsAre("(Two)", "(One)"));
    {
        StoreLock lock;
        MediaContainer* const party = find(lock, {"Music", "Playlists", "Party"});
        EXPECT_EQ(as_reference(tree_object(lock, party->first_child))->sort_key, 8);
        EXPECT_EQ(db_find_in_type(lock, "http://h/1", ObjectClass::music_track)->playlist.view(), "Party");
    }
    constexpr auto kStation = ObjectClass::audio_broadcast;
    add({.title = "Own", .media_class = kStation, .playlist = "Radio", .path = "http://r/1"});
    for (const char* const genre : {"Rock", "Jazz"})
        db_add_item({.title = "Rock FM", .media_class = kStation, .genre = genre, .path = "http://r/2"});
    EXPECT_THAT(children({"Music", "Internet Radio"}), ElementsAre("Jazz", "Rock", "- Favorites- "));
    EXPECT_THAT(children({"Music", "Playlists", "Radio"}), ElementsAre("(Own)"));
    const auto update_id = [] {
        StoreLock lock;
        return store(lock).internet_radio->update_id;
    };
    db_event_pass();
    const std::int32_t before = update_id();
    db_clear_radio();
    EXPECT_EQ(update_id(), before) << "the stations that follow raise it";
    EXPECT_THAT(children({"Music", "Internet Radio"}), ElementsAre("- Favorites- "));
    EXPECT_THAT(children({"Music", "Internet Radio", "- Favorites- "}), ElementsAre("(Own)"));
}

TEST_F(Store, FindsTheNewestContainerOfATitle) {
    StoreLock lock;
    MediaContainer& music = *store(lock).music;
    MediaContainer* same[4];
    for (MediaContainer*& made : same) made = &tree_add_container(lock, music, {.title = tree_intern(lock, "Same")});
    for (const int removed : {1, 3, 2}) {
        tree_remove_container(lock, *same[removed]);
        EXPECT_EQ(tree_check(lock), "");
    }
    EXPECT_EQ(find(lock, {"Music", "Same"}), same[0]);
}

TEST_F(Store, GivesResourcesForIdsOfItemsOnly) {
    const auto added = [](std::int32_t rate) {  // the younger one takes the place of the first
        return std::to_string(
            add({.path = "http://h/1", .duration = "0:01:30.500", .bitrate = rate, .modified = rate}));
    };
    EXPECT_EQ(db_get_resource(added(0))->seconds, 0) << "without a bitrate there are no time seeks";
    const std::string id = added(128);
    for (const std::string& good : {id, id + ".mp3", id + "_DLNA_LPCM.lpcm", " +" + id}) {
        ASSERT_TRUE(db_get_resource(good)) << good;
        EXPECT_EQ(db_get_resource(good)->seconds, 90) << good;
        EXPECT_EQ(db_get_resource(good)->path, "http://h/1") << good;
    }
    for (const std::string& bad : {std::string{"-"}, std::string{"1"}, id + "abc"}) {
        EXPECT_FALSE(db_get_resource(bad)) << bad;
        db_played(bad);
    }
}

TEST_F(Store, ChangesAFieldThatStillHasItsValue) {
    const std::string id =
        std::to_string(add({.title = "One", .artist = "A", .date = "2003-01-01", .path = "http://h/1"}));
    for (const auto& [object, field, current, wanted, status] : Rows<Text, Text, Text, Text, int>{
             {id, "title", "One", "Two", 200},
             {id, "ti", "Two", "Three", 200},
             {id, "title", "One", "Four", 403},
             {id, "d", "2003-01-01", "2004-01-01", 200},
             {id, "dc:d", std::nullopt, "Described", 200},
             {id, "genre", "", "Rock", 200},
             {id, "", "One", "Two", 501},
             {"0", "title", "root", "Two", 501},
             {"999999", "title", "Three", "Two", 501},
             {id, "title", "Three", "line\nbreak", 402},
             {id, "title", "Three", std::string(100'000, 'x'), 402},
         })
        EXPECT_EQ(db_update_object(object, field, current, wanted), status) << text_or_empty(field);
    EXPECT_EQ(db_get_description(id), "Described");
    EXPECT_THAT(children({"Music", "All Tracks"}), ElementsAre("(Three)"));
    EXPECT_THAT(children({"Music", "Genres"}), ElementsAre("- All -", "Unknown")) << "views are not rebuilt";
}

TEST_F(Store, PrunesParentsThatItEmpties) {
    add({.title = "One", .artist = "A", .album = "B", .path = "http://h/1"});
    db_remove_file("http://h/1");
    db_prune_empty();
    EXPECT_THAT(children({"Music", "Artists/Albums"}), IsEmpty());
    EXPECT_THAT(children({"Music"}).size(), 12u) << "permanent containers stay";
}

TEST_F(Store, FillsAnEmptyListAsIfEachTrackWereOffered) {
    for (int n = 0; n < 12; ++n) {
        const std::string text = std::to_string(n);
        add({.title = text, .path = "http://h/" + text, .play_count = n < 2 ? 1 : 0});
    }
    {
        StoreLock lock;
        played_lists_fill_if_empty(lock, *find(lock, {"Music", "Playlists", "- Most Played -"}));
    }
    EXPECT_THAT(children({"Music", "Playlists", "- Most Played -"}),
                ElementsAre("(1)", "(0)", "(4)", "(5)", "(6)", "(7)", "(8)", "(9)", "(10)", "(11)"))
        << "of those played least the newest entry goes";
}

TEST_F(Store, GoesOnWithFreshIdsAfterARestartWithinTheProcess) {
    const ObjectId before = add({.title = "One", .path = "http://h/1"});
    db_destroy();
    EXPECT_EQ(db_add_item({.title = "One", .path = "http://h/1"}), AddResult::failed) << "no store, no item";
    db_create();
    EXPECT_GT(add({.title = "One", .path = "http://h/1"}), before) << "clients may still hold the old ids";
}

class UnusualSettings : public StoreFixture {
    void configure() override {
        settings_set(Setting::playlistnumentries, "0");
        settings_set(Setting::alltracks, "");
        settings_set(Setting::rootvideo, "");
        settings_set(Setting::internetradio, "");
        settings_set(Setting::adobedsn, "catalogue");
    }
};

TEST_F(UnusualSettings, LeaveOutWhatTheyName) {
    EXPECT_THAT(children({}), ElementsAre("Pictures", "Music"));
    EXPECT_THAT(children({"Music", "Playlists"}), IsEmpty());
    EXPECT_THAT(children({"Music", "All Tracks [is needed]"}), IsEmpty());
    EXPECT_EQ(db_add_item({.media_class = ObjectClass::movie, .path = "http://h/v.mpg"}), AddResult::failed);
    EXPECT_EQ(db_add_item({.media_class = ObjectClass::audio_broadcast, .genre = "Rock", .path = "http://h/r"}),
              AddResult::failed);
    EXPECT_EQ(db_count_all_videos(), 0);
}

TEST_F(UnusualSettings, TagsFollowTheKeywords) {
    const std::string id = std::to_string(
        add({.title = "P", .media_class = ObjectClass::photo, .path = "http://h/p.jpg", .keywords = "Trips/Rome,Sun"}));
    ASSERT_EQ(db_update_object(id, "upnp:keywords", "Trips/Rome,Sun", "Trips/Oslo,Family"), 200);
    EXPECT_THAT(children({"Pictures", "- Adobe Tags -"}), ElementsAre("Family", "Trips"));
    EXPECT_THAT(children({"Pictures", "- Adobe Tags -", "Trips", "Oslo"}), ElementsAre("(P)"));
    ASSERT_EQ(db_update_object(id, "upnp:keywords", "Trips/Oslo,Family", ""), 200);
    EXPECT_THAT(children({"Pictures", "- Adobe Tags -"}), ElementsAre("Family", "Trips")) << "no keywords, no tag";
    EXPECT_THAT(children({"Pictures", "- Adobe Tags -", "Trips", "Oslo"}), IsEmpty());
    EXPECT_THAT(children({"Pictures", "- Adobe Tags -", "Family"}), IsEmpty());
}

}  // namespace
