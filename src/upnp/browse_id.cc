#include "upnp/browse_id.h"

#include <algorithm>
#include <array>
#include <limits>

#include "core/str.h"
#include "db/played_lists.h"
#include "upnp/clients.h"

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

BrowseId browse_id_read(std::string_view text, std::string_view address) {
    const auto known =
        std::find_if(kPlaces.begin(), kPlaces.end(), [&](const PlaceName& name) { return name.text == text; });
    if (known != kPlaces.end()) {
        if (known->place == BrowsePlace::music && !is_music_client(address))
            set_client_type(ClientKind::linksys, address);
        return {.place = known->place};
    }
    // Music-only clients start in the music folder.
    if (text == "0" && is_music_client(address)) return {.place = BrowsePlace::music};
    return {.place = BrowsePlace::number, .number = read_number(text)};
}

ObjectId db_map_browse_id(const StoreLock& lock, const BrowseId& wanted) {
    const MediaContainer* const place = container_at(lock, wanted.place);
    const ObjectId id = place != nullptr ? place->id : wanted.number;
    if (MediaContainer* const container = as_container(tree_object(lock, id)))
        played_lists_fill_if_empty(lock, *container);
    return id;
}
