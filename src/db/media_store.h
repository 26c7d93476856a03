// The store's own record: its fixed containers and its counters.
#pragma once

#include <cstdint>

#include "db/objects.h"

// The fixed containers of the tree, which the settings name. Each may be null: one whose setting is empty is not
// created.
struct MediaStore {
    MediaContainer* root = nullptr;
    MediaContainer* music = nullptr;
    MediaContainer* all_tracks = nullptr;
    MediaContainer* playlists = nullptr;
    MediaContainer* last_played = nullptr;
    MediaContainer* most_played = nullptr;
    MediaContainer* internet_radio = nullptr;
    MediaContainer* own_radio_stations = nullptr;
    MediaContainer* pictures = nullptr;
    MediaContainer* all_pictures = nullptr;
    MediaContainer* tags = nullptr;
    MediaContainer* videos = nullptr;
    MediaContainer* all_videos = nullptr;
    std::int32_t system_update_id = 0;
    bool changed = false;         // some container's update id was raised since the last event pass
    std::int64_t created_at = 0;  // seconds since the epoch
    // Raised by every change of a listed text or number of an item; with MediaContainer::list_revision it tells whether
    // a remembered order still holds.
    std::uint32_t item_revision = 0;
    // Raised by every change of any child list or item.
    std::uint64_t revision = 0;
    // Raised by every play: what is kept between two runs has changed, although no listing has.
    std::uint32_t plays = 0;
    // Raised when a scan pass begins; items carry the number of the last pass that saw their file.
    std::uint32_t scan_pass = 0;
};
