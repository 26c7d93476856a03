// The playlists that imports fill, by name: playlist files and music libraries. db_add_item puts an item into the
// playlist it names; here is what empties one before it is read again, and what tidies up behind it.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "db/objects.h"

struct PlaylistPlace {
    std::string_view path;  // of an item
    std::int32_t sort_key = 0;
};
// Whether the playlist of this name holds exactly these items, in this order and with these keys.
bool db_playlist_holds(std::string_view name, std::span<const PlaylistPlace> places);

// Empties the playlist of this name, where there is one, and marks it changed. The items that stood in it are the
// answer; they stay.
std::vector<ObjectId> db_begin_playlist(std::string_view name);

// The playlist is complete again, or gone for good. Of the items that stood in it before, those that it no longer holds
// lose its name, and stations that nothing else lists go: only a playlist brought them here.
void db_end_playlist(std::string_view name, const std::vector<ObjectId>& former);
