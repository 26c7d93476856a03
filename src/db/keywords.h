// The "- Adobe Tags -" tree of pictures: one container for each name of a tag path, made from an item's keywords.
#pragma once

#include "db/tree.h"

// Rebuilds the item's place in the tags tree, which must exist (it does when the setting `adobedsn` is set).
void keywords_add_item(const StoreLock& lock, MediaItem& item);
