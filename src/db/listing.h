// What a Browse or a Search lists, as ids in the order of the answer: the children of a container, or the matches of a
// search over the whole tree. The wanted order is compiled before the store is locked.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "core/str.h"
#include "db/listing_cache.h"
#include "db/search_criteria.h"
#include "db/sort.h"

struct ListingOrder {
    std::optional<SortCriteria> requested = std::nullopt;  // nullopt: as the settings say for the container's class
    std::optional<std::uint32_t> shuffle_seed = std::nullopt;
    SortDefaults defaults = {};
};

// sort_criteria as the request has it; nullopt and empty are the same. Reads settings, so not under the store lock.
ListingOrder listing_order(const Text& sort_criteria);

// The children in order. With "Philips:shuffle:SEED" in the criteria a list that begins with an item is shuffled
// instead: the process-wide random sequence, seeded with SEED.
Listing listing_children(const StoreLock& lock, const MediaContainer& container, const ListingOrder& order);
// The children by their keys, shuffle or not.
Listing listing_sorted_children(const StoreLock& lock, const MediaContainer& container, const ListingOrder& order);
// The index in that listing of the first title that does not sort below the letter, letter case aside; the listing's
// size if there is none. Objects without a title are skipped.
std::size_t listing_find_letter(const StoreLock& lock, const MediaContainer& container, const ListingOrder& order,
                                const ObjectIds& ids, std::string_view letter);

struct SearchQuery {
    std::string text;  // of the criteria; the key under which the result is remembered
    SearchCriteria criteria;
    bool each_title_once = false;  // of equal titles only the first in tree order
    ListingOrder order;
};
// All matches below the root. If the request names no order, they are sorted as their containers would sort them; if
// those disagree, by the setting `ds`.
Listing listing_search(const StoreLock& lock, const SearchQuery& query);
