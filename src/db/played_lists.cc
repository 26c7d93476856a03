#include "db/played_lists.h"

#include <queue>
#include <vector>

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
        tree_add_reference(lock, list, item, key);
    } else if (smallest != nullptr && smallest->sort_key < key) {
        tree_retarget(lock, *smallest, item, key);
    }
}

// By what an item competes for a place in the list.
std::int32_t key_in(const StoreLock& lock, const MediaContainer& list, const MediaItem& item) {
    const MediaStore& places = store(lock);
    return &list == places.most_played ? item.play_count
                                       : static_cast<std::int32_t>(item.last_played - places.created_at);
}

void offer_to(const StoreLock& lock, MediaContainer* list, MediaItem& item) {
    const std::int32_t entries = settings_get_int(Setting::playlistnumentries);
    if (list == nullptr || entries == 0) return;
    offer(lock, *list, item, key_in(lock, *list, item), entries);
}

}  // namespace

void played_lists_note(const StoreLock& lock, MediaItem& item) {
    offer_to(lock, store(lock).last_played, item);
    offer_to(lock, store(lock).most_played, item);
}

void played_lists_fill_if_empty(const StoreLock& lock, MediaContainer& container) {
    const MediaStore& places = store(lock);
    const bool is_list = &container == places.last_played || &container == places.most_played;
    if (!is_list || container.child_count != 0 || places.all_tracks == nullptr) return;
    const std::int32_t entries = settings_get_int(Setting::playlistnumentries);
    // As if every track were offered in turn: the smallest key gives its place away, of equal ones the first in the
    // list, which is the newest reference.
    const auto goes_later = [](const ItemReference* a, const ItemReference* b) {
        return a->sort_key != b->sort_key ? a->sort_key > b->sort_key : a->id < b->id;
    };
    std::priority_queue<ItemReference*, std::vector<ItemReference*>, decltype(goes_later)> places_taken{goes_later};
    for (MediaObject& track : tree_children(lock, *places.all_tracks)) {
        MediaItem* const item = item_of(lock, &track);
        if (item == nullptr) continue;
        const std::int32_t key = key_in(lock, container, *item);
        if (container.child_count < entries) {
            places_taken.push(&tree_add_reference(lock, container, *item, key));
        } else if (!places_taken.empty() && places_taken.top()->sort_key < key) {
            ItemReference* const smallest = places_taken.top();
            places_taken.pop();
            tree_retarget(lock, *smallest, *item, key);
            places_taken.push(smallest);
        }
    }
}
