// Whether an object fits search criteria. A reference has the properties of its item, so it matches if the item does.
// Only three properties can differ between the two: "@id", "@refID", and "upnp:originalTrackNumber", which is the
// position in the playlist for a reference in one.
#pragma once

#include <bitset>
#include <string_view>

#include "db/search_criteria.h"
#include "db/tree.h"

bool search_matches(const StoreLock& lock, const SearchCriteria& criteria, const MediaObject& object);

// The part of the verdict that does not depend on which reference is looked at. Computed once per item, then reused for
// each of its references. One bit a group or row, by its number:
//  - a group: some row that is the same for all references (tells_apart is false) fits;
//  - a row that may differ between references: those of its terms that do not differ all fit.
using ItemFits = std::bitset<2 * kMaxSearchTerms + 2>;
ItemFits search_item_fits(const StoreLock& lock, const SearchCriteria& criteria, const MediaItem& item);
// Like search_matches above, with the part of the object's item already computed.
bool search_matches(const StoreLock& lock, const SearchCriteria& criteria, const MediaObject& object,
                    const ItemFits& fits);
// Whether a reference to the item matches, one without a position of its own. Not for criteria on "@id".
bool search_matches_as_reference(const StoreLock& lock, const SearchCriteria& criteria, const MediaItem& item);

// 1 match, 0 none, -1 bad criteria.
int search_match(const StoreLock& lock, const MediaObject& object, std::string_view criteria);
