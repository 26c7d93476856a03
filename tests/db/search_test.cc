#include "db/search.h"

#include <gmock/gmock.h>

#include <random>

#include "db/listing.h"
#include "db/search_walk.h"
#include "db/upkeep.h"
#include "support/rows.h"
#include "support/store_fixture.h"

namespace {

constexpr const char* kPath = "http://h/a/48/Help.mp3";

class Search : public StoreFixture {
protected:
    void SetUp() override {
        StoreFixture::SetUp();
        add({.title = "Help!",
             .artist = "The Beatles",
             .album = "Say \"Help\"",
             .date = "1965-08-06",
             .path = kPath,
             .track = 7});
    }

    static const MediaObject& item(const StoreLock& lock) {
        return *db_find_in_type(lock, kPath, ObjectClass::music_track);
    }
};

TEST_F(Search, EvaluatesCriteriaOnAnItem) {
    StoreLock lock;
    for (const auto& [criteria, expected] : Rows<const char*, int>{
             {"", 0},
             {"*", 1},
             {"()", 0},
             {"dc:title = ", 0},
             {"dc:title != \"help!\"", 1},
             {"dc:title=\"help!\"", 0},
             {"dc:title doesNotContain \"elp\"", 0},
             {"dc:title >= \"Help\" and dc:title < \"Helq\" and dc:title <= \"Help!\"", 1},
             {"dc:title contains elp! and dc:date > 1965", 1},
             {"upnp:album contains \"say \\\"help\\\"\"", 1},
             {"dc:creator = \"The Beatles\"\r\n\tand upnp:author = \"The Beatles\"", 1},
             {"upnp:author@role = \"Composer\"", 1},
             {"dc:source contains \"/48/\" and res contains \".mp3\"", 1},
             {"upnp:class derivedfrom \"audioItem\"", 1},
             {"upnp:class derivedfrom \"AudioItem\"", 0},
             {"upnp:originalTrackNumber = \"07\"", 1},
             {"upnp:originalTrackNumber > \"10\"", 0},
             {"upnp:originalTrackNumber <= 7", 1},
             {"upnp:originalTrackNumber contains \"7\"", 0},
             {"dc:date exists \"true\"", 1},
             {"@refID exists \"true\"", 0},
             {"upnp:genre = \"Unknown\"", 1},
             // "and" before "or", whatever stands first.
             {"dc:title = \"x\" and dc:title = \"y\" or dc:date exists true", 1},
             {"dc:date exists true or dc:title = \"x\" and dc:title = \"y\"", 1},
             {"dc:title = \"x\" and (dc:title = \"y\" or dc:date exists true)", 0},
             // Two truths side by side: the first decides.
             {"dc:title = \"x\" dc:date exists true", 0},
             {"dc:date exists true dc:title = \"x\" and dc:title = \"y\"", 1},
             {"dc:foo = \"x\"", -1},
             {"dc:title is \"x\"", -1},
             {"dc:title = \"open\\", -1},
             {"(dc:title = \")\"", -1},
             {"and dc:title = \"x\"", -1},
             {"dc:title = \"x\" or", -1},
             {"dc:date exists true or dc:foo = 1", -1},
         })
        EXPECT_EQ(search_match(lock, item(lock), criteria), expected) << criteria;
}

TEST_F(Search, JudgesAReferenceByItsItemAndAContainerByTitleAndClass) {
    StoreLock lock;
    const MediaObject& reference = *tree_object(lock, static_cast<const MediaItem&>(item(lock)).first_reference);
    const std::string id = std::to_string(reference.id), item_id = std::to_string(item(lock).id);
    const std::string owner = std::to_string(store(lock).all_tracks->id), shown_in = std::to_string(reference.parent);
    const MediaObject &music = *store(lock).music, &root = *store(lock).root;
    for (const auto& [object, criteria, expected] : Rows<const MediaObject*, std::string, int>{
             {&reference, "dc:title = \"Help!\" and upnp:originalTrackNumber = 7", 1},
             {&reference, "@id = \"" + id + "\" and @refID = \"" + item_id + "\"", 1},
             {&reference, "@parentID = " + owner, 1},
             {&reference, "@parentID = " + shown_in, 0},
             {&music, "dc:title = \"Music\" and upnp:class = \"object.container.musicContainer\"", 1},
             {&music, "@parentID = \"0\" and dc:date exists \"false\"", 1},
             {&music, "upnp:artist = \"Unknown\"", 1},
             {&root, "@id = \"0\" and @parentID = \"-1\"", 1},
         })
        EXPECT_EQ(search_match(lock, *object, criteria), expected) << criteria;
}

TEST_F(Search, BoundsWhatCriteriaMayHold) {
    const std::string truth = "dc:title = \"x\"";
    std::string row = truth;
    for (int i = 1; i < 64; ++i) row += " or " + truth;
    // 64 truths and 63 connectives fit, one more of both and the row is over its 128 tokens.
    EXPECT_TRUE(search_compile(row) && !search_compile(row + " or " + truth));
    EXPECT_TRUE(search_compile(std::string(64, '(') + truth + std::string(64, ')')));
    EXPECT_FALSE(search_compile(std::string(65, '(') + truth + std::string(65, ')')));
    // 1023 characters of a value count.
    StoreLock lock;
    const std::string name(1023, 'n');
    const auto& named = tree_add_container(lock, *store(lock).root, {.title = tree_intern(lock, name)});
    EXPECT_EQ(search_match(lock, named, "dc:title = \"" + std::string(65'536, 'n') + "\""), 1);
    EXPECT_EQ(search_match(lock, named, "dc:title = \"" + name.substr(1) + "\""), 0);
}

TEST_F(Search, ListsEachTitleOnceInTreeOrder) {
    add({.title = "the beatles", .path = "http://h/third.mp3"});
    const auto criteria = search_compile("dc:title contains \"the beatles\"");
    StoreLock lock;
    // Containers and tracks alike: what the walk meets first stays.
    const Strings all = titles_of(lock, search_walk(lock, *criteria, false));
    EXPECT_THAT(all, testing::IsSupersetOf({"The Beatles", "the beatles"}));
    EXPECT_EQ(titles_of(lock, search_walk(lock, *criteria, true)), Strings{all.front()});
}

// What a plain walk with the criteria in hand meets.
std::vector<ObjectId> plain_walk(const StoreLock& lock, const MediaContainer& container, const std::string& criteria) {
    std::vector<ObjectId> found;
    for (const MediaObject& child : tree_children(lock, container)) {
        if (search_match(lock, child, criteria) == 1) found.push_back(child.id);
        if (const MediaContainer* const nested = as_container(&child)) {
            const auto below = plain_walk(lock, *nested, criteria);
            found.insert(found.end(), below.begin(), below.end());
        }
    }
    return found;
}

class SearchWalk : public StoreFixture {
protected:
    void SetUp() override {
        StoreFixture::SetUp();
        std::mt19937 random{3};
        const auto number = [&](int below) { return std::to_string(random() % static_cast<unsigned>(below)); };
        std::string second_newest;
        // Removals in between, so that ids are neither dense nor in one order everywhere.
        for (int i = 0; i < 500; ++i) {
            const auto path = "http://h/" + number(4) + "/" + std::to_string(i) + ".mp3";
            add({.title = "Title " + number(60),
                 .artist = "Artist " + number(9),
                 .album = i % 7 == 0 ? Text{} : Text{"Album " + number(40)},
                 .genre = "Genre " + number(3),
                 .playlist = i % 10 == 0 ? Text{"List " + number(3)} : Text{},
                 .date = "200" + number(9) + "-01-01",
                 .path = path,
                 .track = i % 15});
            if (i % 9 == 7) second_newest = path;
            if (i % 9 == 8) db_remove_file(second_newest);
        }
        add({.title = "Station", .media_class = ObjectClass::audio_broadcast, .genre = "Rock", .path = "http://r/"});
        add({.title = "Film", .media_class = ObjectClass::movie, .path = "http://h/film.mpg"});
    }
};

TEST_F(SearchWalk, MeetsWhatAPlainWalkMeetsInItsOrder) {
    StoreLock lock;
    std::size_t few = 0, many = 0;
    const std::string id = std::to_string(store(lock).all_tracks->first_child);
    for (const std::string& criteria :
         std::vector<std::string>{"@id = \"" + id + "\"",
                                  "dc:title exists true and @id = " + id,
                                  "@id = 0" + id,
                                  "@id != " + id,
                                  "@id = \"0\"",
                                  "@id = \"" + id + "x\"",
                                  "@id = \"-1\"",
                                  "@id = 99999999999",
                                  "*",
                                  "dc:title = \"Title 7\"",
                                  "dc:title = \"Title 7\" or dc:title = \"Film\" or dc:title = \"Station\"",
                                  "upnp:class derivedfrom \"object.item.audioItem\"",
                                  "upnp:class derivedfrom \"object.container\"",
                                  "dc:title = \"Title 7\" and @refID exists \"true\"",
                                  "upnp:originalTrackNumber = 10",
                                  "@id < \"2\"",
                                  "@parentID = \"5\"",
                                  "upnp:album = \"Unknown\"",
                                  "dc:date = \"2003-01-01\" and (upnp:artist = \"Artist 3\" or upnp:genre contains 1)",
                                  "dc:title = \"none\""}) {
        const auto found = search_walk(lock, *search_compile(criteria), false);
        ASSERT_EQ(found, plain_walk(lock, *store(lock).root, criteria)) << criteria;
        (found.size() < 400 ? few : many) += found.empty() ? 0 : 1;
    }
    EXPECT_GE(few, 3u);
    EXPECT_GE(many, 3u);
}

// Large results are sorted by their items and dealt out.
TEST_F(SearchWalk, SortsManyMatchesLikeFew) {
    StoreLock lock;
    const std::vector<ObjectId> walked = search_walk(lock, *search_compile("*"), false);
    ASSERT_GT(walked.size(), 10'000u);
    for (const char* criteria : {"+dc:title", "-dc:date,+upnp:artist", "+upnp:originalTrackNumber,-dc:title", ""}) {
        std::vector<ObjectId> dealt = walked, one_by_one = walked;
        sort_matches(lock, sort_compile(criteria), dealt);
        sort_objects(lock, sort_compile(criteria), one_by_one);
        EXPECT_TRUE(dealt == one_by_one) << criteria;
    }
}

}  // namespace
