#include "db/imported_playlists.h"
#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

#include "db/objects.h"
#include "db/tree.h"

namespace {

// Null if there is none. "- Last Played -" and "- Most Played -" are never found: a file of that name must not empty
// them.
MediaContainer* find_playlist(const StoreLock& lock, std::string_view name) {
    MediaContainer* const playlists = store(lock).playlists;
    MediaContainer* const found = playlists == nullptr ? nullptr : tree_find_child_container(lock, name, *playlists);
    return found == nullptr || found->permanent ? nullptr : found;
}

bool is_referenced(const StoreLock& lock, const MediaItem& item, const MediaContainer* container) {
    bool found = false;
    tree_for_each_reference(lock, item, [&](const ItemReference& reference) {
        found = found || container == nullptr || reference.parent == container->id;
    });
    return found;
}

}  // namespace

bool db_playlist_holds(std::string_view name, std::span<const PlaylistEntry> entries) {
    StoreLock lock;
    const MediaContainer* const playlist = find_playlist(lock, name);
    if (playlist == nullptr || static_cast<std::size_t>(playlist->child_count) != entries.size()) return false;
    std::size_t left = entries.size();  // children come newest first
    for (const MediaObject& child : tree_children(lock, *playlist)) {
        const ItemReference* const reference = as_reference(&child);
        const MediaItem* const item = item_of(lock, &child);
        const PlaylistEntry& entry = entries[--left];
        if (reference == nullptr || reference->sort_key != entry.sort_key || item->path.view() != entry.path)
            return false;
    }
    return true;
}

std::vector<ObjectId> db_begin_playlist(std::string_view name) {
    std::vector<ObjectId> former;
    StoreLock lock;
    MediaContainer* const playlist = find_playlist(lock, name);
    if (playlist == nullptr) return former;
    std::vector<ItemReference*> references;
    for (MediaObject& child : tree_children(lock, *playlist)) {
        ItemReference* const reference = as_reference(&child);
        if (reference == nullptr) continue;
        references.push_back(reference);
        former.push_back(reference->target);
    }
    for (ItemReference* const reference : references) tree_remove_reference(lock, *reference);
    tree_mark_changed(lock, *playlist);
    return former;
}

void db_end_playlist(std::string_view name, const std::vector<ObjectId>& former) {
    for (const ObjectId id : former) {
        StoreLock lock;  // one for each item: a client may browse in between
        MediaItem* const item = item_of(lock, tree_object(lock, id));
        if (item == nullptr) continue;
        const MediaContainer* const playlist = find_playlist(lock, name);
        if (playlist != nullptr && is_referenced(lock, *item, playlist)) continue;
        if (item->playlist.view() == name) {
            item->playlist = SharedText{};
            tree_item_changed(lock);
        }
        const bool station = item->object_class == ObjectClass::audio_broadcast;
        if (station && !is_referenced(lock, *item, nullptr)) tree_remove_item(lock, *item);
    }
}
