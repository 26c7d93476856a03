#include "db/play_lists.h"

#include "core/settings.h"

namespace {

// The item takes its place in a list of at most entries references: its own, a free one, or that of the smallest key.
void offer(const StoreLock& lock, MediaContainer& list, MediaItem& item, std::int32_t key, std::int32_t entries) {
    ItemReference* smallest = nullptr;
    for (MediaObject& child : tree_children(lock, list)) {
        ItemReference* const reference = as_reference(&child);
        if (reference == nullptr) continue;
        if (reference->target == item.id) {
            reference->sort_key = key;
            tree_item_changed(lock);
            return;
        }
        if (smallest == nullptr || reference->sort_key < smallest->sort_key) smallest = reference;
    }
    if (list.child_count < entries) {
        db_add_reference(lock, list, item, key);
    } else if (smallest != nullptr && smallest->sort_key < key) {
        tree_retarget(lock, *smallest, item, key);
    }
}

void offer_to(const StoreLock& lock, MediaContainer* list, MediaItem& item) {
    const std::int32_t entries = settings_get_int(Setting::playlistnumentries);
    if (list == nullptr || entries == 0) return;
    const MediaStore& places = store(lock);
    const auto since_creation = static_cast<std::int32_t>(item.last_played - places.created_at);
    offer(lock, *list, item, list == places.most_played ? item.play_count : since_creation, entries);
}

}  // namespace

void play_lists_note(const StoreLock& lock, MediaItem& item) {
    offer_to(lock, store(lock).last_played, item);
    offer_to(lock, store(lock).most_played, item);
}

void play_lists_fill_if_empty(const StoreLock& lock, MediaContainer& container) {
    const MediaStore& places = store(lock);
    const bool is_list = &container == places.last_played || &container == places.most_played;
    if (!is_list || container.child_count != 0 || places.all_tracks == nullptr) return;
    for (MediaObject& track : tree_children(lock, *places.all_tracks))
        if (MediaItem* const item = item_of(lock, &track)) offer_to(lock, &container, *item);
}
