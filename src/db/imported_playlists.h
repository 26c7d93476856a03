// The playlists that imports fill, by name: playlist files and music libraries. db_add_item puts an item into the
// playlist it names; here is what empties one before it is read again, and what tidies up afterwards.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "db/objects.h"

struct PlaylistEntry {
    std::string_view path;  // of an item
    std::int32_t sort_key = 0;
};
// Whether the playlist of this name holds exactly these items, in this order and with these keys.
bool db_playlist_holds(std::string_view name, std::span<const PlaylistEntry> entries);

// Empties the playlist of this name, if there is one, and marks it changed. Returns the items that were in it; they
// stay in the store.
std::vector<ObjectId> db_begin_playlist(std::string_view name);

// The playlist is complete again, or gone for good. Items that were in it and no longer are lose its name. Stations
// that no other playlist lists are removed: only a playlist brought them here.
void db_end_playlist(std::string_view name, const std::vector<ObjectId>& former);
