#include "db/played_lists.h"

#include <cstdint>
#include <queue>
#include <vector>

#include "core/settings.h"
#include "core/settings_table.h"
#include "db/media_store.h"
#include "db/objects.h"
#include "db/tree.h"

namespace {

// Enters the item into a list of at most entries references: it keeps its reference if it has one, gets a new one while
// there is room, or takes over the reference with the smallest key.
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

// The sort key of an item in this list: its play count, or when it was last played (seconds since store creation).
std::int32_t key_in(const StoreLock& lock, const MediaContainer& list, const MediaItem& item) {
    const MediaStore& media = store(lock);
    return &list == media.most_played ? item.play_count
                                      : static_cast<std::int32_t>(item.last_played - media.created_at);
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
    const MediaStore& media = store(lock);
    const bool is_list = &container == media.last_played || &container == media.most_played;
    if (!is_list || container.child_count != 0 || media.all_tracks == nullptr) return;
    const std::int32_t entries = settings_get_int(Setting::playlistnumentries);
    // The result is that of offer() for every track in turn, with a heap in place of its walk over the list. The
    // reference with the smallest key is replaced; of equal ones the first in the list, which is the newest.
    const auto goes_later = [](const ItemReference* a, const ItemReference* b) {
        return a->sort_key != b->sort_key ? a->sort_key > b->sort_key : a->id < b->id;
    };
    std::priority_queue<ItemReference*, std::vector<ItemReference*>, decltype(goes_later)> lowest_first{goes_later};
    for (MediaObject& track : tree_children(lock, *media.all_tracks)) {
        MediaItem* const item = item_of(lock, &track);
        if (item == nullptr) continue;
        const std::int32_t key = key_in(lock, container, *item);
        if (container.child_count < entries) {
            lowest_first.push(&tree_add_reference(lock, container, *item, key));
        } else if (!lowest_first.empty() && lowest_first.top()->sort_key < key) {
            ItemReference* const smallest = lowest_first.top();
            lowest_first.pop();
            tree_retarget(lock, *smallest, *item, key);
            lowest_first.push(smallest);
        }
    }
}
