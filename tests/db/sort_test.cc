#include "db/sort.h"

#include <gmock/gmock.h>

#include <random>

#include "support/store_fixture.h"

namespace {

struct Track {
    std::string title;
    Text artist = {}, album = {}, genre = {}, date = {};
    std::int32_t track = 0;
    std::int32_t position = -1;  // of its reference; -1 as in a view
};

class Sort : public StoreFixture {
protected:
    // A container below the music folder with references to new items, and child containers between them: a name in
    // brackets is a container.
    static MediaContainer& make_list(const StoreLock& lock, const std::vector<std::pair<Track, ObjectId>>& tracks) {
        MediaContainer& list = tree_add_container(lock, *store(lock).music, {.title = tree_intern(lock, "list")});
        for (const auto& [track, item] : tracks) {
            if (item == kNoObject) {
                tree_add_container(lock, list, {.title = tree_intern(lock, track.title)});
            } else {
                tree_add_reference(lock, list, static_cast<MediaItem&>(*tree_object(lock, item)), track.position);
            }
        }
        return list;
    }

    ObjectId add(const Track& track) {
        const std::string path = "http://h/" + std::to_string(++added_) + ".mp3";
        EXPECT_EQ(db_add_item({.title = track.title,
                               .artist = track.artist,
                               .album = track.album,
                               .genre = track.genre,
                               .date = track.date,
                               .path = path,
                               .track = track.track}),
                  AddResult::added);
        return id_of(path);
    }

    // Adds everything in this order, sorts the list and gives the titles.
    std::vector<std::string> sorted(const std::vector<Track>& tracks, std::string_view criteria) {
        std::vector<std::pair<Track, ObjectId>> rows;
        // The list shows the newest first, so the first row goes in last.
        for (auto track = tracks.rbegin(); track != tracks.rend(); ++track)
            rows.emplace_back(*track, track->title.starts_with('[') ? kNoObject : add(*track));
        StoreLock lock;
        const MediaContainer& list = make_list(lock, rows);
        std::vector<ObjectId> ids;
        for (const MediaObject& child : tree_children(lock, list)) ids.push_back(child.id);
        sort_objects(lock, sort_compile(criteria), ids);
        return titles_of(lock, ids);
    }

private:
    int added_ = 0;
};

TEST_F(Sort, PlacesAFewAsReceiversExpect) {
    const std::vector<Track> folders = {{.title = "b"}, {.title = "[x]"}, {.title = "A"}, {.title = "[Y]"}};
    const std::vector<Track> artists = {{.title = "x", .artist = "Z"}, {.title = "y"}, {.title = "z", .artist = "a"}};
    const std::vector<Track> members = {{.title = "late in the album", .track = 9, .position = 1},
                                        {.title = "early in the album", .track = 2, .position = 10},
                                        {.title = "no position", .track = 5, .position = 0}};
    const std::vector<Track> dates = {{.title = "1", .genre = "b", .date = "b"},
                                      {.title = "2", .genre = "A", .date = "A"},
                                      {.title = "3", .genre = "a", .date = "a"}};
    struct {
        const std::vector<Track>& tracks;
        const char* criteria;
        std::vector<std::string> titles;
    } const rows[] = {
        // An unknown key counts as read: containers first, and titles in its direction.
        {folders, "-dc:nothing", {"[Y]", "[x]", "b", "A"}},
        {folders, "", {"[x]", "[Y]", "A", "b"}},
        {artists, "+upnp:artist", {"y", "z", "x"}},
        {artists, "-dc:creator", {"x", "z", "y"}},
        {members, "+upnp:originalTrackNumber", {"late in the album", "no position", "early in the album"}},
        // Dates by their bytes, the others without their case.
        {dates, "dc:date", {"2", "3", "1"}},
        {dates, "upnp:genre,-dc:date", {"3", "2", "1"}},
    };
    for (const auto& row : rows) EXPECT_EQ(sorted(row.tracks, row.criteria), row.titles) << row.criteria;
}

TEST_F(Sort, PlacesEveryPairAsTheComparisonAccepts) {
    // The written-out orders above are of few objects; many go through the sorting by pieces of text.
    // Texts that differ in case, behind fifteen bytes, behind thirty, and by being the head of another.
    const std::vector<std::string> texts{"a",
                                         "A",
                                         "exactly fifteen",
                                         "Exactly fifteen",
                                         "exactly fifteen and more to",
                                         "Exactly fifteen and more To",
                                         "exactly fifteen and more to say",
                                         "exactly fifteen and more to saz",
                                         "\xC3\x84",
                                         "z"};
    std::mt19937 random{7};
    const auto pick = [&] { return texts[random() % texts.size()]; };
    const auto maybe = [&] { return random() % 3 == 0 ? Text{} : Text{pick()}; };
    std::vector<std::pair<Track, ObjectId>> rows;
    for (int i = 0; i < 200; ++i) {
        const Track track{.title = pick(),
                          .artist = maybe(),
                          .album = maybe(),
                          .genre = maybe(),
                          .date = maybe(),
                          .track = static_cast<std::int32_t>(random() % 4),
                          .position = static_cast<std::int32_t>(random() % 5) - 1};
        rows.emplace_back(track, random() % 6 == 0 ? kNoObject : add(track));
    }
    StoreLock lock;
    std::vector<ObjectId> children;
    for (const MediaObject& child : tree_children(lock, make_list(lock, rows))) children.push_back(child.id);
    for (const char* criteria : {"+dc:title", "-dc:title", "", "-upnp:originalTrackNumber,+upnp:album",
                                 "+dc:date,-upnp:artist", "-upnp:genre,+dc:creator,-res", "upnp:artist,,-"}) {
        std::vector<ObjectId> ids = children;
        const SortCriteria compiled = sort_compile(criteria);
        sort_objects(lock, compiled, ids);
        ASSERT_THAT(ids, testing::UnorderedElementsAreArray(children)) << criteria;
        for (std::size_t i = 0; i < ids.size(); ++i) {
            for (std::size_t j = i + 1; j < ids.size(); ++j) {
                const MediaObject &a = *tree_object(lock, ids[i]), &b = *tree_object(lock, ids[j]);
                const int order = sort_compare(lock, compiled, a, b);
                ASSERT_LE(order, 0) << criteria << ": " << ids[i] << " before " << ids[j];
                // The children came with descending ids.
                ASSERT_TRUE(order != 0 || ids[i] > ids[j]) << criteria << ": a tie lost its order";
            }
        }
    }
}

}  // namespace
