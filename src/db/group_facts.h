// What a folder of tracks shows of the tracks in it: their artist, genre, album art and play time. A client asks for
// all of it with every page, and a genre of 100,000 tracks without one album cover would have to be read to its end
// each time; so what took long to find is remembered until the folder's list changes; play times are counted as it
// changes. All under the store lock.
#pragma once

#include <cstdint>

#include "db/tree.h"

// The first child item, in list order, that has the property (references through their targets); null if none has.
struct GroupFacts {
    const MediaItem* artist = nullptr;
    const MediaItem* genre = nullptr;
    const MediaItem* album_art = nullptr;
};
GroupFacts group_facts(const StoreLock& lock, const MediaContainer& container);

// The play time, in seconds, of all tracks below the container, a track counted once for every reference.
std::int64_t didl_music_seconds(const StoreLock& lock, const MediaContainer& container);

void group_facts_forget_all(const StoreLock& lock);
