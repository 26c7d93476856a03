// A few recent listings, remembered as lists of object ids, so that the next window of thirty out of 100,000 costs no
// sort and no search of its own. A listing holds while nothing it was made from has changed: the children of a
// container while its list and all items are as they were, the matches of a search while the whole tree is.
//
// Bounded: kMaxListings listings with kMaxListedIds ids in all. The least recently used is dropped first; every look-up
// drops stale ones. Guarded by the store lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/str.h"
#include "db/sort.h"
#include "db/tree.h"

using ObjectIds = std::vector<ObjectId>;
using Listing = std::shared_ptr<const ObjectIds>;

constexpr std::size_t kMaxListings = 8;
constexpr std::size_t kMaxListedIds = 4'000'000;

// Cache key: the query that produced a listing.
struct ListingKey {
    ObjectId container = kRootId;
    std::vector<SortCriteria> orders = {};
    std::optional<std::uint32_t> shuffle_seed = std::nullopt;
    Text search = std::nullopt;  // nullopt: the container's children
    bool each_title_once = false;
    bool operator==(const ListingKey&) const = default;
};

// Null if it is not remembered or stale.
Listing listing_recall(const StoreLock& lock, const ListingKey& key);
// Keeps what was just made; a listing that is too large on its own is not kept.
void listing_remember(const StoreLock& lock, const ListingKey& key, Listing listing);

void listing_forget_all(const StoreLock& lock);
// What is held right now, for tests and the status site.
struct ListingCacheSize {
    std::size_t listings = 0, ids = 0;
};
ListingCacheSize listing_cache_size(const StoreLock& lock);
