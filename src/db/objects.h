// The records of the content tree. Three kinds share one head, so that one child list can hold them all; class strings
// are an enum with a table of texts, so that a media-type test compares numbers.
//
// Links are object ids: dense numbers, never reused, resolved through the store's table (db/tree.h). That keeps a
// reference at 32 bytes, and a track with the default views has 33 of them. Everything here may be looked at only while
// the store is locked.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "db/shared_text.h"

using ObjectId = std::int32_t;
constexpr ObjectId kRootId = 0;
constexpr ObjectId kNoObject = -1;

enum class ObjectKind : char { container = 'c', item = 'i', reference = 'r' };

enum class ObjectClass : std::uint8_t {
    photo,
    music_track,
    audio_broadcast,
    movie,
    container,
    playlist_container,
    music_container,
    picture_container,
    video_container,
    storage_folder,
    music_album,
    music_artist,
};

// "object.item.audioItem.musicTrack" and so on (UPnP ContentDirectory:1, appendix C).
std::string_view class_text(ObjectClass object_class);
// The item class (one of the first four) with exactly this text.
std::optional<ObjectClass> item_class_of(std::string_view text);
// "http://" and "ftp://" paths are not on our disks.
bool db_path_is_remote(std::string_view path);

// Album, artist, playlist or music container: what a client may list as a group of tracks.
bool is_music_grouping(ObjectClass object_class);

struct MediaObject {
    ObjectId id = kNoObject;
    ObjectId parent = kNoObject;  // the container that lists it; none only for the root
    ObjectId next = kNoObject;    // siblings, newest first
    ObjectId previous = kNoObject;
    ObjectKind kind;

protected:
    explicit MediaObject(ObjectKind object_kind) : kind(object_kind) {}
};

struct MediaContainer : MediaObject {
    MediaContainer() : MediaObject(ObjectKind::container) {}

    ObjectClass object_class = ObjectClass::container;
    bool permanent = false;  // never removed when empty
    bool changed = false;    // update_id was raised since the last event pass
    bool shadows = false;    // an older sibling had the same title when this one came
    SharedText title;        // shared, so two equal titles are the same text
    ObjectId first_child = kNoObject;
    // The child containers alone, in the same order, for walks that do not care about items.
    ObjectId first_container = kNoObject;
    ObjectId next_container = kNoObject;
    ObjectId previous_container = kNoObject;
    std::int32_t child_count = 0;
    std::int32_t view_number = 0;  // 101-110 music, 131-135 picture, 161-165 video views; 0 for all others
    std::int32_t update_id = 0;
    std::uint32_t list_revision = 0;  // raised by every change of the child list; never seen on the wire
    std::int64_t music_seconds = 0;   // play time of all tracks at and below, once for every reference
};

struct MediaItem : MediaObject {
    MediaItem() : MediaObject(ObjectKind::item) {}

    ObjectClass object_class = ObjectClass::music_track;
    bool titled_by_file = false;           // its title was made from the file name when it was added
    ObjectId first_reference = kNoObject;  // head of the chain through the item's references
    // The chain through the items whose files lie in the same directory.
    ObjectId next_in_directory = kNoObject;
    ObjectId previous_in_directory = kNoObject;
    // Missing and empty differ: a missing album is listed as "Unknown", an empty one nowhere.
    SharedText title, artist, album, genre, playlist, date, path, duration, description, keywords;
    std::int64_t size = 0;
    std::int32_t width = 0, height = 0;
    std::int32_t seconds = 0;  // what duration says
    std::int32_t track = 0;
    std::int32_t bitrate = 0;  // kilobits per second; not 0 enables time seeks
    std::int32_t album_art = 0;
    std::int32_t compilation = 0;
    std::int32_t modified = 0;     // seconds since the epoch
    std::int32_t last_played = 0;  // seconds since the epoch
    std::int32_t play_count = 0;
    std::uint32_t seen_in_pass = 0;  // the scan pass that last saw the file
};

struct ItemReference : MediaObject {
    ItemReference() : MediaObject(ObjectKind::reference) {}

    ObjectId target = kNoObject;          // always an item
    ObjectId next_of_target = kNoObject;  // the chain through all references to the same item
    // Playlist position, play count of "- Most Played -", seconds since store creation of the last play of
    // "- Last Played -", -1 for view members.
    std::int32_t sort_key = -1;
};
