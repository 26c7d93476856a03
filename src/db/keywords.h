// The "- Adobe Tags -" tree of pictures: one container for each name of a tag path, made from an item's keywords.
#pragma once

#include "db/tree.h"

// Replaces the item's references in the tags tree, which must exist (it does if the setting `adobedsn` is set).
void keywords_add_item(const StoreLock& lock, MediaItem& item);
