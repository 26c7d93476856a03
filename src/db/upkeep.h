// Keeping the tree in step with the disk, and tidy.
#pragma once

#include <string>
#include <string_view>

#include "db/tree.h"

// A scan pass begins: items whose file it meets (db_is_newer_on_disk, db_add_item) count as seen.
void db_begin_scan_pass();

// Removes the item with this path (all tracks first, then videos, then pictures) and its references.
void db_remove_file(const std::string& path);

// Removes every item whose file's status can no longer be read; remote items stay. Files that the current scan pass has
// seen are not looked at again, so an unchanged library costs one file status a file. Files are looked at without the
// lock.
void db_remove_vanished();
// The same for the files that lie in one directory or below it; costs nothing for those elsewhere.
void db_remove_vanished_below(std::string_view directory);

// Removes every empty container that is neither permanent nor a direct child of the root, with the parents it leaves
// empty. Costs what there is to remove, not what the tree holds.
void db_prune_empty();
// The same below one container, which itself stays.
void db_prune_empty_below(const StoreLock& lock, const MediaContainer& start);

// Empties internet radio but for the own radio stations, before the directory's stations are read again.
void db_clear_radio();
