// The order of listings. Sort criteria ("+upnp:album,-dc:title") are compiled once per request, before the store is
// locked; then objects are compared and sorted under the lock.
//
// The pairwise comparison is no strict weak order: a container is before an item whatever the keys say, but an item and
// a container, in that order, are compared by the keys. Lists are therefore sorted in another way: containers first,
// then each group stably by its keys. The comparison agrees with every pair in such a list.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "db/tree.h"

enum class SortProperty : std::uint8_t { title, artist, album, genre, date, track_number, resource };

struct SortKey {
    SortProperty property;
    bool descending;
    bool operator==(const SortKey&) const = default;
};

struct SortCriteria {
    std::vector<SortKey> keys;       // each property once: a repeated key never decides
    bool titles_descending = false;  // how ties fall back to titles: as the last key read, known or not, ran
    bool containers_first = false;   // false only for criteria without any key
    bool operator==(const SortCriteria&) const = default;
};

// Unknown keys are skipped. Keys are not trimmed, so one that begins with a blank is unknown. A key is recognised by
// its beginning ("upnp:albumArtURI" sorts by album).
SortCriteria sort_compile(std::string_view text);

// What containers are sorted by when the request does not say: the settings `ds`, `ms` and `ps`.
struct SortDefaults {
    SortCriteria general, music, pictures;
};
// Not under the store lock: it reads settings.
SortDefaults sort_read_defaults();
const SortCriteria& sort_default_for(const SortDefaults& defaults, ObjectClass container_class);

// Below, equal or above 0. Texts compare without regard to case, dates by their bytes, track numbers as numbers (the
// reference's own number where it is at least 1, containers as 0). A missing value is before every other.
int sort_compare(const StoreLock& lock, const SortCriteria& criteria, const MediaObject& a, const MediaObject& b);

// Puts the objects in order; ties keep the order they came in.
void sort_objects(const StoreLock& lock, const SortCriteria& criteria, std::vector<ObjectId>& ids);
// The same, and quicker where many references of one item are among them.
void sort_matches(const StoreLock& lock, const SortCriteria& criteria, std::vector<ObjectId>& ids);
