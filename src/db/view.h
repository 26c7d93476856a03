// The configured views: every music, picture and video item is shown in trees of containers made from its own metadata.
// A view setting is a folder name and its levels ("Genres/Artists,%GENRE,%ARTIST,%ALBUM"); views hold references only.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "db/tree.h"

// The root containers of the views first_number, first_number + 1 ... (101 to 199), one for each setting that has a
// folder name. A later change of a setting has no effect until the store is created again.
void view_create_roots(const StoreLock& lock, MediaContainer& top, std::int32_t first_number, std::int32_t count);

// References to the item in every view below its media type's top container. relative_path: see view_relative_path,
// found before the lock is taken.
void view_add_item(const StoreLock& lock, MediaItem& item, std::string_view relative_path, MediaContainer& top);

// "ABC", "DEF" ... for groups of n letters. Latin-1 letters with diacritics count as their base letter. Characters
// before "A" join the first group, characters after "Z" the last.
std::string view_letter_group(std::uint32_t first_character, std::int32_t letters);

// The path below the content directory that holds it, file name included. The first matching content directory wins.
std::string_view view_relative_path(std::string_view path);
