// A search over the whole tree. It returns what a walk from the root's children, depth first and newest first, would
// meet. Criteria are evaluated once per item, not once per reference; if few items match, the references of the others
// are never looked at.
#pragma once

#include <vector>

#include "db/search_criteria.h"
#include "db/tree.h"

// The matches in the order of the walk. each_title_once: of several matches with the same title (letter case aside)
// only the first, for clients that show one entry a track.
std::vector<ObjectId> search_walk(const StoreLock& lock, const SearchCriteria& criteria, bool each_title_once);
