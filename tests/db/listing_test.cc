#include "db/listing.h"

#include <gmock/gmock.h>

#include "db/update.h"
#include "support/store_fixture.h"

using testing::ElementsAre;

namespace {

class Listings : public StoreFixture {
protected:
    static ObjectId add_track(int n, const std::string& title) {
        return add({.title = title, .path = "http://h/" + std::to_string(n) + ".mp3"});
    }
    static Listing list(MediaContainer* MediaStore::*container, const char* criteria) {
        const ListingOrder order = listing_order(Text{criteria});
        StoreLock lock;
        return listing_children(lock, *(store(lock).*container), order);
    }
    static Listing search(const std::string& text, const Text& sort = {}) {
        const SearchQuery query{.text = text, .criteria = *search_compile(text), .order = listing_order(sort)};
        StoreLock lock;
        return listing_search(lock, query);
    }
    static Strings titles(const Listing& listing) {
        StoreLock lock;
        return titles_of(lock, *listing);
    }
};

TEST_F(Listings, AreShuffledByTheSeedBehindTheLastColon) {
    for (int n = 0; n < 6; ++n) add_track(n, std::string(1, static_cast<char>('a' + n)));
    // The C library's sequence for the seed 42, two draws a swap, starting from f e d c b a.
    for (const char* criteria : {"Philips:shuffle:42", "+dc:title,Philips:shuffle:42"})
        EXPECT_THAT(titles(list(&MediaStore::all_tracks, criteria)), ElementsAre("c", "f", "d", "a", "b", "e"));
    // Folders are sorted, not shuffled.
    EXPECT_THAT(titles(list(&MediaStore::root, "Philips:shuffle:42")), ElementsAre("Music", "Pictures", "Videos"));
}

TEST_F(Listings, TellTheFirstTitleThatIsNotBelowTheLetter) {
    for (int n = 0; n < 3; ++n) add_track(n, std::string(1, "amz"[n]));
    const ListingOrder order = listing_order(std::nullopt);
    const Listing tracks = list(&MediaStore::all_tracks, "+dc:title");
    StoreLock lock;
    for (const auto& [letter, place] : {std::pair{"M", 1u}, {"ma", 2u}, {"zz", 3u}})
        EXPECT_EQ(listing_find_letter(lock, *store(lock).all_tracks, order, *tracks, letter), place) << letter;
}

TEST_F(Listings, AreRememberedUntilSomethingChanges) {
    constexpr int kMany = 600;  // enough to be worth remembering
    for (int n = 0; n < kMany; ++n) add_track(n, "Title " + std::to_string(n * 7919 % kMany));
    const auto by_title = [] { return list(&MediaStore::all_tracks, "+dc:title"); };
    const Listing first = by_title();
    EXPECT_EQ(by_title(), first);
    EXPECT_NE(list(&MediaStore::all_tracks, "-dc:title"), first);
    EXPECT_EQ(by_title(), first) << "another order must not push this one out";

    // An item's title changes: the same children in another order.
    const ObjectId changed = id_of("http://h/0.mp3");
    ASSERT_EQ(db_update_object(std::to_string(changed), "title", "Title 0", "zzz"), 200);
    EXPECT_EQ(by_title()->size(), first->size());
    EXPECT_EQ(by_title()->back(), changed);
    // The list changes.
    const ObjectId added = add_track(kMany, "zzzz");
    EXPECT_EQ(by_title()->back(), added);
    const auto kept = [] {
        StoreLock lock;
        return listing_cache_size(lock).listings;
    };
    EXPECT_EQ(kept(), 1u) << "stale listings are kept";
    for (int n = 0; n < 50; ++n) list(&MediaStore::all_tracks, ("Philips:shuffle:" + std::to_string(n)).c_str());
    EXPECT_EQ(kept(), kMaxListings);

    // Another store has other objects.
    search("*");
    db_destroy();
    db_create();
    const Listing after = search("*");
    EXPECT_FALSE(after->empty());
    StoreLock lock;
    for (const ObjectId id : *after) ASSERT_NE(tree_object(lock, id), nullptr);
}

TEST_F(Listings, OfMatchesAreOrderedAsTheirContainersAre) {
    settings_set(Setting::container_sort, "+dc:title");
    settings_set(Setting::music_sort, "-dc:title");
    settings_set(Setting::musicnode1, "");
    const auto add_container = [](MediaContainer* MediaStore::*parent, const char* name) {
        StoreLock lock;
        tree_add_container(lock, *(store(lock).*parent), {.title = tree_intern(lock, name)});
    };
    const std::string criteria = "dc:title = \"A\" or dc:title = \"B\" or dc:title = \"C\"";
    // Music itself lists by `ms`, the root by `ds`.
    add_container(&MediaStore::music, "A");
    add_container(&MediaStore::music, "B");
    EXPECT_THAT(titles(search(criteria)), ElementsAre("B", "A"));
    EXPECT_THAT(titles(search(criteria, "+dc:title")), ElementsAre("A", "B"));
    add_container(&MediaStore::root, "C");
    EXPECT_THAT(titles(search(criteria)), ElementsAre("A", "B", "C")) << "containers that disagree are listed by ds";
}

}  // namespace
