// The one entry point of everything that finds media: scanner, readers, importers, persistence file.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/str.h"
#include "db/objects.h"

enum class AddResult { added = 0, failed = 1, already_present = 2 };

struct NewItem {
    Text title = {};  // missing or empty: made from the file name
    ObjectClass media_class = ObjectClass::music_track;
    Text artist = {}, album = {}, genre = {}, playlist = {}, date = {};
    Text path = {};  // a file, or an "http://" or "ftp://" URL
    Text duration = {}, description = {}, keywords = {};
    std::int32_t track = 0, width = 0, height = 0;
    std::int32_t album_art = 0, compilation = 0;
    std::int32_t bitrate = 0;  // kilobits per second; 0: unknown or variable
    std::int64_t size = 0;
    std::int32_t modified = 0, last_played = 0, play_count = 0;
};

// Links a new item into its owning list and views, and into the named playlist. An item with the same path is kept
// unless the new one is younger: then the old one and all its references go, the new one takes a fresh id and its
// predecessor's places in playlists.
AddResult db_add_item(const NewItem& item);

// What a playlist calls a track becomes its title when it has none but one made from its file's name: an item with a
// fresh id, its fields and its places in playlists takes its place. Only the first such title counts.
void db_title_by_playlist(const std::string& path, std::string_view title);

// Whether a file is unknown in its type's list or younger on disk (its status was read by the caller) than the item
// there.
bool db_is_newer_on_disk(std::string_view path, ObjectClass media_class, std::int32_t modified_on_disk);
