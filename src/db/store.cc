#include "db/store.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "core/log.h"
#include "core/settings.h"
#include "core/settings_table.h"
#include "core/str.h"
#include "core/text_buffer.h"
#include "db/media_store.h"
#include "db/objects.h"
#include "db/played_lists.h"
#include "db/tree.h"
#include "db/view.h"

namespace {

// A fixed container titled by a setting; null (and no id taken) if the setting is empty or the parent does not exist.
MediaContainer* add_fixed_container(const StoreLock& lock, MediaContainer* parent, const Text& title,
                                    ObjectClass object_class) {
    if (parent == nullptr || !title || title->empty()) return nullptr;
    return &tree_add_container(lock, *parent,
                               {.title = tree_intern(lock, *title), .object_class = object_class, .permanent = true});
}
MediaContainer* add_fixed_container(const StoreLock& lock, MediaContainer* parent, Setting title,
                                    ObjectClass object_class) {
    return add_fixed_container(lock, parent, settings_get(title), object_class);
}

void create_music(const StoreLock& lock, MediaStore& media) {
    media.music = add_fixed_container(lock, media.root, Setting::rootmusic, ObjectClass::music_container);
    if (media.music == nullptr) return;
    media.playlists = add_fixed_container(lock, media.music, Setting::playlists, ObjectClass::playlist_container);
    if (settings_get_int(Setting::playlistnumentries) != 0) {
        const auto list_class = ObjectClass::playlist_container;
        media.most_played = add_fixed_container(lock, media.playlists, Setting::playlistmostplayed, list_class);
        media.last_played = add_fixed_container(lock, media.playlists, Setting::playlistlastplayed, list_class);
    }
    // Every music item must have an owner, so this list exists whatever the setting says.
    const Text all_tracks = settings_get(Setting::alltracks).value_or("All Tracks [is needed]");
    media.all_tracks = add_fixed_container(lock, media.music, all_tracks, ObjectClass::container);
    media.internet_radio = add_fixed_container(lock, media.music, Setting::internetradio, ObjectClass::container);
    media.own_radio_stations =
        add_fixed_container(lock, media.internet_radio, Setting::allownradiostations, ObjectClass::container);
    view_create_roots(lock, *media.music, 101, 10);
}

void create_pictures(const StoreLock& lock, MediaStore& media) {
    media.pictures = add_fixed_container(lock, media.root, Setting::rootpicture, ObjectClass::container);
    if (media.pictures == nullptr) return;
    if (settings_get(Setting::adobedsn))
        media.tags = add_fixed_container(lock, media.pictures, Text{"- Adobe Tags -"}, ObjectClass::container);
    media.all_pictures = add_fixed_container(lock, media.pictures, Setting::allpictures, ObjectClass::container);
    view_create_roots(lock, *media.pictures, 131, 5);
}

void create_videos(const StoreLock& lock, MediaStore& media) {
    media.videos = add_fixed_container(lock, media.root, Setting::rootvideo, ObjectClass::container);
    if (media.videos == nullptr) return;
    media.all_videos = add_fixed_container(lock, media.videos, Setting::allvideos, ObjectClass::container);
    view_create_roots(lock, *media.videos, 161, 5);
}

// "id,update id" of every changed container, depth first; clears their marks.
std::string collect_update_ids(const StoreLock& lock, MediaContainer& start) {
    TextBuffer list;
    for (MediaContainer* at = &start; at != nullptr; at = tree_next_container(lock, *at, start)) {
        if (!at->changed) continue;
        at->changed = false;
        list.append(text_format(32, list.length() > 0 ? ",%d,%d" : "%d,%d", at->id, at->update_id));
    }
    return std::move(list).take();
}

// Reads an id as clients write it: blanks, a sign, digits, then the end or a character that ends an id in a URL.
// Returns nullopt for "12abc" and for numbers that no id can have.
std::optional<ObjectId> parse_id(std::string_view text) {
    const std::string_view trimmed = str_trim_left(text);
    std::size_t digits = trimmed.starts_with('-') || trimmed.starts_with('+') ? 1 : 0;
    const std::size_t first = digits;
    while (digits < trimmed.size() && trimmed[digits] >= '0' && trimmed[digits] <= '9') ++digits;
    const bool ends =
        digits == trimmed.size() || std::string_view{"._(?/"}.find(trimmed[digits]) != std::string_view::npos;
    const std::int64_t id = text_int64(trimmed);
    if (digits == first || !ends || id < 0 || id > INT32_MAX) return std::nullopt;
    return static_cast<ObjectId>(id);
}

std::int32_t count_of(const MediaContainer* container) {
    return container != nullptr ? container->child_count : 0;
}

}  // namespace

void db_create() {
    const std::time_t now = std::time(nullptr);
    std::srand(static_cast<unsigned>(now));  // for the shuffled listings
    log_message(LOG_INFO, LOG_DB, "creating Database\n");
    StoreLock lock;
    MediaStore& media = store(lock);
    media.created_at = now;
    tree_create_root(lock, "root");
    create_music(lock, media);
    create_pictures(lock, media);
    create_videos(lock, media);
}

void db_destroy() {
    StoreLock lock;
    tree_clear(lock);
}

std::optional<ChangedContent> db_event_pass() {
    StoreLock lock;
    MediaStore& media = store(lock);
    if (!media.changed || media.root == nullptr) return std::nullopt;
    media.changed = false;
    return ChangedContent{.system_update_id = ++media.system_update_id,
                          .container_update_ids = collect_update_ids(lock, *media.root)};
}

std::int32_t db_system_update_id() {
    StoreLock lock;
    return store(lock).system_update_id;
}

MediaObject* db_find_by_id(const StoreLock& lock, const MediaContainer& start, ObjectId id) {
    MediaObject* const object = tree_object(lock, id);
    if (object == nullptr) return nullptr;
    const MediaContainer* const above = tree_parent(lock, start);
    return above == nullptr || (object->id != above->id && tree_is_below(lock, *object, *above)) ? object : nullptr;
}

MediaItem* db_find_item_by_id_text(const StoreLock& lock, std::string_view id_text) {
    const auto id = parse_id(id_text);
    return id ? item_of(lock, tree_object(lock, *id)) : nullptr;
}

MediaItem* db_find_item_by_path(const StoreLock& lock, const MediaContainer& container, std::string_view path) {
    MediaItem* found = nullptr;
    // From the item upwards, itself and its references; the subtree is not searched.
    const auto stands_below = [&](const MediaItem& item) {
        bool below = tree_is_below(lock, item, container);
        tree_for_each_reference(lock, item, [&](const ItemReference& reference) {
            below = below || tree_is_below(lock, reference, container);
        });
        return below;
    };
    for (const ObjectClass type :
         {ObjectClass::movie, ObjectClass::photo, ObjectClass::music_track, ObjectClass::audio_broadcast}) {
        MediaItem* const item = tree_find_path(lock, type, path);
        if (found == nullptr && item != nullptr && stands_below(*item)) found = item;
    }
    return found;
}

MediaItem* db_find_item_by_keywords(const StoreLock& lock, const MediaContainer& container, std::string_view keywords) {
    for (const MediaContainer* at = &container; at != nullptr; at = tree_next_container(lock, *at, container)) {
        for (MediaObject& child : tree_children(lock, *at)) {
            MediaItem* const item = child.kind == ObjectKind::item ? static_cast<MediaItem*>(&child) : nullptr;
            if (item != nullptr && item->keywords && item->keywords.view() == keywords) return item;
        }
    }
    return nullptr;
}

MediaContainer* db_type_root(const StoreLock& lock, ObjectClass media_class) {
    const MediaStore& media = store(lock);
    switch (media_class) {
        case ObjectClass::music_track:
            return media.all_tracks;
        case ObjectClass::audio_broadcast:
            return media.own_radio_stations;
        case ObjectClass::photo:
            return media.pictures;
        case ObjectClass::movie:
            return media.all_videos;
        default:
            return nullptr;
    }
}

MediaItem* db_find_in_type(const StoreLock& lock, std::string_view path, ObjectClass media_class) {
    return db_type_root(lock, media_class) != nullptr ? tree_find_path(lock, media_class, path) : nullptr;
}

std::optional<MediaResource> db_get_resource(std::string_view id_text) {
    StoreLock lock;
    const MediaItem* const item = db_find_item_by_id_text(lock, id_text);
    if (item == nullptr) return std::nullopt;
    return MediaResource{
        .id = item->id, .path = std::string{item->path.view()}, .seconds = item->bitrate == 0 ? 0 : item->seconds};
}

Text db_get_description(std::string_view id_text) {
    StoreLock lock;
    const MediaItem* const item = db_find_item_by_id_text(lock, id_text);
    if (item == nullptr || !item->description) return std::nullopt;
    return std::string{item->description.view()};
}

void db_played(std::string_view id_text) {
    const std::time_t now = std::time(nullptr);
    StoreLock lock;
    MediaItem* const item = db_find_item_by_id_text(lock, id_text);
    if (item == nullptr) return;
    ++item->play_count;
    ++store(lock).plays;
    item->last_played = static_cast<std::int32_t>(now);
    if (item->object_class == ObjectClass::music_track) played_lists_note(lock, *item);
}

std::string db_now_playing_line(ObjectId id, std::int64_t position) {
    // What a client buffers of a video before it shows anything.
    constexpr std::int64_t kVideoLead = 1'500'000;
    StoreLock lock;
    const MediaItem* const item = item_of(lock, tree_object(lock, id));
    if (item != nullptr && item->object_class == ObjectClass::movie)
        position = std::max<std::int64_t>(position - kVideoLead, 0);
    std::string line = text_format(64, "%d\t%lld\t", id, static_cast<long long>(position));
    if (item == nullptr) return line;
    for (const SharedText* field : {&item->title, &item->artist, &item->duration})
        line.append(field->view()).append("\t");
    return line;
}

std::int32_t db_count_all_tracks() {
    StoreLock lock;
    return count_of(store(lock).all_tracks);
}
std::int32_t db_count_all_pictures() {
    StoreLock lock;
    return count_of(store(lock).all_pictures);
}
std::int32_t db_count_all_videos() {
    StoreLock lock;
    return count_of(store(lock).all_videos);
}

int db_compare_text(std::optional<std::string_view> a, std::optional<std::string_view> b) {
    const std::string_view x = a.value_or(""), y = b.value_or("");
    if (!b && !x.empty()) return -1;
    if (!a && !y.empty()) return 1;
    return x.compare(y);
}
