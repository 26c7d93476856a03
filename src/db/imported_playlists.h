// The playlists that imports fill, by name: playlist files and music libraries. db_add_item puts an item into the
// playlist it names; here is what empties one before it is read again, and what tidies up behind it.
#pragma once

#include <string_view>
#include <vector>

#include "db/objects.h"

// Empties the playlist of this name, where there is one, and marks it changed. The items that stood in it are the
// answer; they stay.
std::vector<ObjectId> db_begin_playlist(std::string_view name);

// The playlist is complete again, or gone for good. Of the items that stood in it before, those that it no longer holds
// lose its name, and stations that nothing else lists go: only a playlist brought them here.
void db_end_playlist(std::string_view name, const std::vector<ObjectId>& former);
