// How it works. A remembered listing carries a stamp: the revision numbers of what it was made from. It holds as long
// as the same numbers are read again, so nobody who changes the tree needs to know that listings are remembered.
//
//     children of a container   the container's list_revision and the store's item_revision
//     matches of a search       the store's revision, which every change raises
//
// The list is short (kMaxListings), so look-ups walk over it; the front is the most recently used.
#include "db/listing_cache.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <list>
#include <optional>
#include <utility>
#include <vector>

#include "core/process_wide.h"
#include "core/str.h"
#include "db/media_store.h"
#include "db/objects.h"
#include "db/tree.h"

namespace {

// A search text longer than any client's is not worth keeping.
constexpr std::size_t kMaxSearchText = 4096;

// The revisions of what a listing is made from.
struct Stamp {
    std::uint64_t list = 0, items = 0;
    bool operator==(const Stamp&) const = default;
};

struct Remembered {
    ListingKey key;
    Stamp stamp;
    Listing listing;
};

struct ListingCache {
    std::list<Remembered> recent;  // most recently used first
};
ListingCache& cache() {
    return process_wide<ListingCache>();
}

std::optional<Stamp> stamp_now(const StoreLock& lock, const ListingKey& key) {
    const MediaStore& media = store(lock);
    if (key.search) return Stamp{.list = media.revision};
    const MediaContainer* const container = as_container(tree_object(lock, key.container));
    if (container == nullptr) return std::nullopt;
    return Stamp{.list = container->list_revision, .items = media.item_revision};
}

void drop_stale(const StoreLock& lock) {
    std::erase_if(cache().recent, [&](const Remembered& kept) { return stamp_now(lock, kept.key) != kept.stamp; });
}

std::size_t ids_held() {
    std::size_t ids = 0;
    for (const Remembered& kept : cache().recent) ids += kept.listing->size();
    return ids;
}

}  // namespace

Listing listing_recall(const StoreLock& lock, const ListingKey& key) {
    drop_stale(lock);
    std::list<Remembered>& recent = cache().recent;
    const auto found =
        std::find_if(recent.begin(), recent.end(), [&](const Remembered& kept) { return kept.key == key; });
    if (found == recent.end()) return nullptr;
    recent.splice(recent.begin(), recent, found);
    return found->listing;
}

void listing_remember(const StoreLock& lock, const ListingKey& key, Listing listing) {
    const auto stamp = stamp_now(lock, key);
    if (!stamp || listing->size() > kMaxListedIds || text_or_empty(key.search).size() > kMaxSearchText) return;
    std::list<Remembered>& recent = cache().recent;
    std::erase_if(recent, [&](const Remembered& kept) { return kept.key == key; });
    recent.push_front({.key = key, .stamp = *stamp, .listing = std::move(listing)});
    while (recent.size() > kMaxListings || ids_held() > kMaxListedIds) recent.pop_back();
}

void listing_forget_all(const StoreLock&) {
    cache().recent.clear();
}

ListingCacheSize listing_cache_size(const StoreLock&) {
    return {.listings = cache().recent.size(), .ids = ids_held()};
}
