// "- Last Played -" and "- Most Played -": at most `playlistnumentries` references each, unsorted; Browse decides the
// order.
#pragma once

#include "db/tree.h"

// A music item was played: both lists learn its new play count and time.
void played_lists_note(const StoreLock& lock, MediaItem& item);

// Fills an empty list from all tracks; called when a control point browses it. Other containers are left alone.
void played_lists_fill_if_empty(const StoreLock& lock, MediaContainer& container);
