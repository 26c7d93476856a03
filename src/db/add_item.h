// The one entry point of everything that finds media: scanner, readers, importers, persistence file.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/str.h"
#include "db/objects.h"

enum class AddResult { added = 0, failed = 1, already_present = 2 };

struct NewItem {
    Text title = {};  // nullopt or empty: made from the file name
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

// Links a new item into its owning list, its views and the named playlist. An item with the same path is kept, unless
// the new one is younger: then the old one goes with all its references, and the new one gets a fresh id and takes over
// the playlist seats of the old one.
AddResult db_add_item(const NewItem& item);

// If the track's title was only derived from its file name, replaces it by the title in the playlist: a new item with
// the same fields and playlist seats, but a fresh id. Only the first playlist that names a track counts.
void db_title_by_playlist(const std::string& path, std::string_view title);

// Whether a file is unknown in its type's list, or younger on disk than the item there. The caller has read its status.
// Marks the item as seen in this scan pass.
bool db_is_newer_on_disk(std::string_view path, ObjectClass media_class, std::int32_t modified_on_disk);
