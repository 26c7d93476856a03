#include "upnp/browse_id.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <string_view>

#include "core/str.h"
#include "db/objects.h"
#include "db/played_lists.h"
#include "db/tree.h"

namespace {

struct PlaceName {
    std::string_view text;
    BrowsePlace place;
};

constexpr auto kPlaces = std::to_array<PlaceName>({
    {"0\\Music\\", BrowsePlace::music},
    {"0\\Photo\\", BrowsePlace::pictures},
    {"0\\Movie\\", BrowsePlace::videos},
});

ObjectId read_number(std::string_view text) {
    const std::int64_t number = text_int64(text);
    const bool is_id = number >= 0 && number <= std::numeric_limits<ObjectId>::max();
    return is_id ? static_cast<ObjectId>(number) : kNoObject;
}

const MediaContainer* container_at(const StoreLock& lock, BrowsePlace place) {
    switch (place) {
        case BrowsePlace::music:
            return store(lock).music;
        case BrowsePlace::pictures:
            return store(lock).pictures;
        case BrowsePlace::videos:
            return store(lock).videos;
        case BrowsePlace::number:
            break;
    }
    return nullptr;
}

}  // namespace

BrowseId browse_id_read(std::string_view text, bool music_only) {
    const auto known = std::ranges::find(kPlaces, text, &PlaceName::text);
    if (known != kPlaces.end()) return {.place = known->place};
    if (text == "0" && music_only) return {.place = BrowsePlace::music};
    return {.place = BrowsePlace::number, .number = read_number(text)};
}

// The lists of played tracks are filled when a client first asks for them, not when the store is created: then there
// are no tracks yet.
ObjectId db_map_browse_id(const StoreLock& lock, const BrowseId& wanted) {
    const MediaContainer* const place = container_at(lock, wanted.place);
    const ObjectId id = place != nullptr ? place->id : wanted.number;
    if (MediaContainer* const container = as_container(tree_object(lock, id)))
        played_lists_fill_if_empty(lock, *container);
    return id;
}
