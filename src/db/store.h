// The content store as the rest of the server sees it: creation, look-ups by the ids and texts that clients send,
// plays, events. What adds items is in db/add_item.h, what keeps the tree tidy in db/upkeep.h, what changes a field in
// db/update.h.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/str.h"
#include "db/tree.h"

// Builds the fixed tree from the settings. Called once at start, before anything is scanned or read.
void db_create();
// Frees the whole tree. A later db_create goes on with fresh ids.
void db_destroy();

struct ChangedContent {
    std::int32_t system_update_id = 0;
    std::string container_update_ids;  // "id,update id,..." of every changed container, depth first
};
// What changed since the last pass: raises the system update id and clears the marks of the changed containers. Returns
// nullopt when nothing changed.
std::optional<ChangedContent> db_event_pass();
std::int32_t db_system_update_id();

// The object with this id in the subtree below start, start's own siblings included; null if there is none.
MediaObject* db_find_by_id(const StoreLock& lock, const MediaContainer& start, ObjectId id);
// The item (of a reference its target) with the id that a client's text names; null for containers and unknown ids.
// The text is optional blanks, an optional sign, and digits up to its end or up to one of "._(?/".
MediaItem* db_find_item_by_id_text(const StoreLock& lock, std::string_view id_text);

// The first item below the container whose path equals the given one; a reference counts through its target.
MediaItem* db_find_item_by_path(const StoreLock& lock, const MediaContainer& container, std::string_view path);
MediaItem* db_find_item_by_keywords(const StoreLock& lock, const MediaContainer& container, std::string_view keywords);
// Within the media type's own list (music: all tracks, radio: own radio stations, pictures, videos).
MediaItem* db_find_in_type(const StoreLock& lock, std::string_view path, ObjectClass media_class);
MediaContainer* db_type_root(const StoreLock& lock, ObjectClass media_class);

struct MediaResource {
    ObjectId id = kNoObject;   // of the item; for a reference, of its target
    std::string path;          // a file, or an "http://" or "ftp://" URL
    std::int32_t seconds = 0;  // play time; 0 when unknown or when the bitrate is
};
// What streaming needs to know of an object. Returns nullopt for unknown ids and containers.
std::optional<MediaResource> db_get_resource(std::string_view id_text);
// The description of the item with that id (or of a reference's target).
Text db_get_description(std::string_view id_text);

// Records a play: count, time, and for music the last played and most played lists. Ids of nothing or of containers do
// nothing.
void db_played(std::string_view id_text);

// The line of the now-playing page for an object: id, position, title, artist and duration, each followed by a tab; of
// an object that is gone only id and position.
std::string db_now_playing_line(ObjectId id, std::int64_t position);

std::int32_t db_count_all_tracks();
std::int32_t db_count_all_pictures();
std::int32_t db_count_all_videos();

// Compares two texts. A missing one equals an empty one, and sorts after any other.
int db_compare_text(std::optional<std::string_view> a, std::optional<std::string_view> b);
