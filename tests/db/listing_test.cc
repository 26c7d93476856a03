#include "db/listing.h"

#include <gmock/gmock.h>

#include "db/update.h"
#include "support/store_fixture.h"

using testing::ElementsAre;

namespace {

constexpr int kMany = 600;  // enough to be worth remembering

class ListingOfTracks : public StoreFixture {
protected:
    static std::string path_of(int n) { return "http://h/" + std::to_string(n) + ".mp3"; }
    static void add(int n, const std::string& title, std::int32_t track = 0) {
        ASSERT_EQ(db_add_item({.title = title, .path = path_of(n), .track = track}), AddResult::added);
    }
    static void fill() {
        for (int n = 0; n < kMany; ++n) add(n, "Title " + std::to_string(n * 7919 % kMany));
    }
    static SearchQuery query(const std::string& text, const Text& sort) {
        return {.text = text, .criteria = *search_compile(text), .order = listing_order(sort)};
    }
};

TEST_F(ListingOfTracks, ShufflesItemsByTheSeedBehindTheLastColon) {
    for (int n = 0; n < 6; ++n) add(n, std::string(1, static_cast<char>('a' + n)));
    const auto shuffled = [](const char* criteria) {
        const ListingOrder order = listing_order(criteria);
        StoreLock lock;
        return titles_of(lock, *listing_children(lock, *store(lock).all_tracks, order));
    };
    // The C library's sequence for the seed 42, two draws a swap, starting from f e d c b a.
    EXPECT_THAT(shuffled("Philips:shuffle:42"), ElementsAre("c", "f", "d", "a", "b", "e"));
    EXPECT_EQ(shuffled("+dc:title,Philips:shuffle:42"), shuffled("Philips:shuffle:42"));

    // Folders are sorted, not shuffled.
    const ListingOrder order = listing_order("Philips:shuffle:42");
    StoreLock lock;
    EXPECT_THAT(titles_of(lock, *listing_children(lock, *store(lock).root, order)),
                ElementsAre("Music", "Pictures", "Videos"));
}

TEST_F(ListingOfTracks, RemembersAnOrderUntilSomethingChanges) {
    fill();
    const ListingOrder by_title = listing_order("+dc:title"), upwards = listing_order("-dc:title");
    const auto list = [](const ListingOrder& order) {
        StoreLock lock;
        return listing_children(lock, *store(lock).all_tracks, order);
    };
    const Listing first = list(by_title);
    EXPECT_EQ(list(by_title), first);
    EXPECT_NE(list(upwards), first);
    EXPECT_EQ(list(by_title), first) << "another order must not push this one out";

    // An item's title changes: the same children in another order.
    ASSERT_EQ(db_update_object(std::to_string(id_of(path_of(0))), "title", "Title 0", "zzz"), 200);
    const Listing renamed = list(by_title);
    ASSERT_EQ(renamed->size(), first->size());
    EXPECT_EQ(renamed->back(), id_of(path_of(0)));

    // The list changes.
    add(kMany, "zzzz");
    EXPECT_EQ(list(by_title)->back(), id_of(path_of(kMany)));
    StoreLock lock;
    EXPECT_EQ(listing_cache_size(lock).listings, 1u) << "stale listings are kept";
}

TEST_F(ListingOfTracks, ForgetsWithTheStore) {
    const ListingOrder order = listing_order(std::nullopt);
    const SearchQuery everything = query("*", std::nullopt);
    {
        StoreLock lock;
        listing_search(lock, everything);
    }
    db_destroy();
    db_create();
    StoreLock lock;
    const Listing after = listing_search(lock, everything);
    EXPECT_FALSE(after->empty());
    for (const ObjectId id : *after) ASSERT_NE(tree_object(lock, id), nullptr);
    const Listing children = listing_children(lock, *store(lock).root, order);
    for (const ObjectId id : *children) ASSERT_NE(tree_object(lock, id), nullptr);
}

TEST_F(ListingOfTracks, KeepsAFewListingsOnly) {
    fill();
    for (int n = 0; n < 50; ++n) {
        const ListingOrder order = listing_order("Philips:shuffle:" + std::to_string(n));
        StoreLock lock;
        listing_children(lock, *store(lock).all_tracks, order);
        EXPECT_LE(listing_cache_size(lock).listings, kMaxListings);
    }
    StoreLock lock;
    EXPECT_EQ(listing_cache_size(lock).listings, kMaxListings);
    // Small ones never enter, or folders would push the large lists out.
    listing_forget_all(lock);
    const Listing small = listing_children(lock, *store(lock).music, {});
    EXPECT_EQ(listing_cache_size(lock).listings, 0u);
}

TEST_F(ListingOfTracks, OrdersMatchesAsTheirContainersDo) {
    settings_set(Setting::container_sort, "+dc:title");
    settings_set(Setting::music_sort, "-dc:title");
    settings_set(Setting::musicnode1, "");
    const auto containers = [&](const Text& sort) {
        const SearchQuery wanted = query("dc:title = \"A\" or dc:title = \"B\" or dc:title = \"C\"", sort);
        StoreLock lock;
        return titles_of(lock, *listing_search(lock, wanted));
    };
    {
        StoreLock lock;
        // Music itself lists by `ms`, the root by `ds`.
        for (const char* name : {"A", "B"})
            tree_add_container(lock, *store(lock).music, {.title = tree_intern(lock, name)});
    }
    EXPECT_THAT(containers(std::nullopt), ElementsAre("B", "A"));
    EXPECT_THAT(containers("+dc:title"), ElementsAre("A", "B"));
    {
        StoreLock lock;
        tree_add_container(lock, *store(lock).root, {.title = tree_intern(lock, "C")});
    }
    EXPECT_THAT(containers(std::nullopt), ElementsAre("A", "B", "C")) << "containers that disagree are listed by ds";
}

}  // namespace
