// Whether an object fits search criteria. Everything about an object but its id is that of the item behind it, so a
// reference matches as its item does; only "@id", "@refID" and the playlist position behind "upnp:originalTrackNumber"
// tell them apart.
#pragma once

#include <bitset>
#include <string_view>

#include "db/search_criteria.h"
#include "db/tree.h"

bool search_matches(const StoreLock& lock, const SearchCriteria& criteria, const MediaObject& object);

// What is true of an item whatever stands for it: of a group, that a row which tells nothing apart fits; of another
// row, that its terms fit which tell nothing apart. A search that has to look at every reference finds these once an
// item.
using ItemFits = std::bitset<2 * kMaxSearchTerms + 2>;
ItemFits search_item_fits(const StoreLock& lock, const SearchCriteria& criteria, const MediaItem& item);
// The same verdict as without the fits of the item behind the object.
bool search_matches(const StoreLock& lock, const SearchCriteria& criteria, const MediaObject& object,
                    const ItemFits& fits);
// The same as if a reference with no position of its own stood for the item.
bool search_matches_as_reference(const StoreLock& lock, const SearchCriteria& criteria, const MediaItem& item);

// 1 match, 0 none, -1 bad criteria.
int search_match(const StoreLock& lock, const MediaObject& object, std::string_view criteria);
