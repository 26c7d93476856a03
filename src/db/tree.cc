// How it works. Three kinds of records (container, item, reference) lie in pools that never move them. Records name
// each other by id; `ids` resolves an id to its record. Every record but the root is in one child list, and in further
// chains and indexes:
//
//     container --first_child------> newest -next-> ... -next-> oldest     its children: ids descend
//               --first_container--> newest ------------------> oldest     the child containers among them
//     item      --first_reference--> reference -next_of_target-> ...       all references to it
//
//     child_index   (parent, title) -> the newest child container of that title
//     path_index    path -> item, one index a media type
//     directories   directory -> the chain through the items whose files lie in it; sorted, so that a whole subtree of
//                   the disk is one range
//     prunable      the empty containers that may be removed
//
// Invariant, which tree_check() verifies: after every public function each record is in all the lists and indexes it
// belongs to, and child_count and music_seconds agree with the lists. So linking and unlinking is done only here:
// prepend() and unlink() keep the child lists and mark the container changed, the chain_... and unchain_... pairs keep
// the other chains. Nothing but tree_clear() walks over the library.
#include "db/tree.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/log.h"
#include "core/process_wide.h"
#include "core/time_text.h"
#include "db/objects.h"
#include "db/tree_state.h"

Tree& tree_state() {
    return process_wide<Tree>();
}

namespace {

template <typename Record>
Record* find_as(ObjectId id, ObjectKind kind) {
    MediaObject* const object = tree_state().ids.find(id);
    return object != nullptr && object->kind == kind ? static_cast<Record*>(object) : nullptr;
}
MediaContainer* find_container(ObjectId id) {
    return find_as<MediaContainer>(id, ObjectKind::container);
}
ItemReference* find_reference(ObjectId id) {
    return find_as<ItemReference>(id, ObjectKind::reference);
}
MediaItem* find_item(ObjectId id) {
    return find_as<MediaItem>(id, ObjectKind::item);
}

// What a child adds to the play time of the containers above it.
std::int64_t music_seconds_of(const StoreLock& lock, const MediaObject& child) {
    const MediaItem* const item = item_of(lock, &child);
    return item != nullptr && item->object_class == ObjectClass::music_track ? item->seconds : 0;
}

void add_music_seconds(MediaContainer& container, std::int64_t seconds) {
    if (seconds == 0) return;
    for (MediaContainer* at = &container; at != nullptr; at = find_container(at->parent)) at->music_seconds += seconds;
}

// Remembered listings of the container, and of searches, no longer hold; control points hear of it with the next event.
void list_changed(const StoreLock& lock, MediaContainer& container) {
    ++container.list_revision;
    ++tree_state().store.revision;
    tree_mark_changed(lock, container);
}

// Keeps the set of containers that may be pruned in step with a change of the container's child count.
void note_child_count(const MediaContainer& container) {
    if (container.permanent || container.parent == kRootId) return;
    if (container.child_count == 0) {
        tree_state().prunable.insert(container.id);
    } else if (container.child_count == 1) {
        tree_state().prunable.erase(container.id);
    }
}

// A new child has a higher id than all others in the list, so the list keeps descending in ids.
void prepend(const StoreLock& lock, MediaContainer& parent, MediaObject& child) {
    child.parent = parent.id;
    child.next = parent.first_child;
    if (MediaObject* const former = tree_state().ids.find(parent.first_child)) former->previous = child.id;
    parent.first_child = child.id;
    ++parent.child_count;
    note_child_count(parent);
    tree_state().ids.put(child);
    add_music_seconds(parent, music_seconds_of(lock, child));
    list_changed(lock, parent);
}

// The opposite of prepend, the id table included. The caller destroys the record.
void unlink(const StoreLock& lock, MediaContainer& parent, MediaObject& child) {
    if (MediaObject* const previous = tree_state().ids.find(child.previous)) {
        previous->next = child.next;
    } else {
        parent.first_child = child.next;
    }
    if (MediaObject* const next = tree_state().ids.find(child.next)) next->previous = child.previous;
    --parent.child_count;
    note_child_count(parent);
    tree_state().ids.remove(child.id);
    add_music_seconds(parent, -music_seconds_of(lock, child));
    list_changed(lock, parent);
}

void chain_container(MediaContainer& parent, MediaContainer& child) {
    child.next_container = parent.first_container;
    if (MediaContainer* const former = find_container(parent.first_container)) former->previous_container = child.id;
    parent.first_container = child.id;
    // The newest of equal titles comes first in the list, so it is the one that is found.
    const auto [indexed, is_new] =
        tree_state().child_index.insert_or_assign({parent.id, child.title.identity()}, &child);
    child.shadows = !is_new;
}

void unchain_container(const StoreLock& lock, MediaContainer& parent, MediaContainer& child) {
    if (MediaContainer* const previous = find_container(child.previous_container)) {
        previous->next_container = child.next_container;
    } else {
        parent.first_container = child.next_container;
    }
    if (MediaContainer* const next = find_container(child.next_container)) {
        next->previous_container = child.previous_container;
    }
    const auto indexed = tree_state().child_index.find({parent.id, child.title.identity()});
    if (indexed == tree_state().child_index.end() || indexed->second != &child) return;
    tree_state().child_index.erase(indexed);
    if (!child.shadows) return;
    // The removed container was the one that its title found. Two views may have the same title: the next older one is
    // found from now on. Only this rare case costs a walk over the siblings.
    for (MediaContainer& other : tree_child_containers(lock, parent)) {
        if (!other.title.same_as(child.title)) continue;
        tree_state().child_index[{parent.id, other.title.identity()}] = &other;
        return;
    }
}

void chain_reference(MediaItem& item, ItemReference& reference) {
    reference.target = item.id;
    reference.next_of_target = item.first_reference;
    item.first_reference = reference.id;
}

// The chain is linked one way only, which saves four bytes in each of millions of references. It is short: an item has
// as many references as the views give it.
void unchain_reference(ItemReference& reference) {
    MediaItem* const item = find_item(reference.target);
    ObjectId* link = &item->first_reference;
    while (*link != reference.id) link = &find_reference(*link)->next_of_target;
    *link = reference.next_of_target;
}

// Of the radio stations only the user's own ones are indexed: any other station may be listed below several genres.
bool is_path_indexed(const MediaItem& item) {
    const MediaContainer* const own = tree_state().store.own_radio_stations;
    return item.object_class != ObjectClass::audio_broadcast || (own != nullptr && item.parent == own->id);
}
PathIndex& path_index(ObjectClass media_class) {
    return tree_state().path_index[static_cast<std::size_t>(media_class)];
}

// Whether the item is a file of ours: radio stations and items of other servers lie in no directory.
bool lies_in_directory(const MediaItem& item) {
    return item.object_class != ObjectClass::audio_broadcast && !db_path_is_remote(item.path.view());
}

std::string_view without_final_slash(std::string_view directory) {
    if (directory.ends_with('/')) directory.remove_suffix(1);
    return directory;
}

std::string_view directory_of(const MediaItem& item) {
    const std::string_view path = item.path.view();
    const std::size_t slash = path.rfind('/');
    return without_final_slash(path.substr(0, slash == std::string_view::npos ? 0 : slash));
}

void chain_in_directory(MediaItem& item) {
    if (!lies_in_directory(item)) return;
    DirectoryIndex& directories = tree_state().directories;
    const std::string_view directory = directory_of(item);
    auto at = directories.find(directory);
    if (at == directories.end()) at = directories.emplace(directory, kNoObject).first;
    item.previous_in_directory = kNoObject;
    item.next_in_directory = at->second;
    if (MediaItem* const former = find_item(at->second)) former->previous_in_directory = item.id;
    at->second = item.id;
}

void unchain_in_directory(const MediaItem& item) {
    if (!lies_in_directory(item)) return;
    MediaItem* const next = find_item(item.next_in_directory);
    if (next != nullptr) next->previous_in_directory = item.previous_in_directory;
    if (MediaItem* const previous = find_item(item.previous_in_directory)) {
        previous->next_in_directory = item.next_in_directory;
        return;
    }
    const auto at = tree_state().directories.find(directory_of(item));
    at->second = item.next_in_directory;
    if (next == nullptr) tree_state().directories.erase(at);
}

void index_item(MediaItem& item) {
    if (is_path_indexed(item)) {
        // Not assigned over an older entry: its key would go on pointing into the older item.
        path_index(item.object_class).erase(item.path.view());
        path_index(item.object_class).emplace(item.path.view(), &item);
    }
    chain_in_directory(item);
}

void unindex_item(const MediaItem& item) {
    PathIndex& index = path_index(item.object_class);
    const auto indexed = index.find(item.path.view());
    if (indexed != index.end() && indexed->second == &item) index.erase(indexed);
    unchain_in_directory(item);
}

// A fixed container that is about to be destroyed must not be found any more.
void forget_fixed_container(const MediaContainer& container) {
    MediaStore& media = tree_state().store;
    for (MediaContainer** fixed : {&media.root, &media.music, &media.all_tracks, &media.playlists, &media.last_played,
                                   &media.most_played, &media.internet_radio, &media.own_radio_stations,
                                   &media.pictures, &media.all_pictures, &media.tags, &media.videos, &media.all_videos})
        if (*fixed == &container) *fixed = nullptr;
}

void destroy_container(const StoreLock& lock, MediaContainer& container) {
    if (MediaContainer* const parent = find_container(container.parent)) {
        unchain_container(lock, *parent, container);
        unlink(lock, *parent, container);
    }
    forget_fixed_container(container);
    tree_state().prunable.erase(container.id);
    tree_state().containers.destroy(container);
}

}  // namespace

StoreLock::StoreLock() : guard_(tree_state().mutex) {}

MediaStore& store(const StoreLock&) {
    return tree_state().store;
}

ObjectId tree_take_id(const StoreLock&) {
    if (tree_state().next_id == std::numeric_limits<std::int32_t>::max())
        log_message(LOG_CRITICAL, LOG_DB, "all object ids are used up, please restart\n");
    return tree_state().next_id++;
}

MediaObject* tree_object(const StoreLock&, ObjectId id) {
    return tree_state().ids.find(id);
}

MediaContainer* as_container(MediaObject* object) {
    return object != nullptr && object->kind == ObjectKind::container ? static_cast<MediaContainer*>(object) : nullptr;
}
const MediaContainer* as_container(const MediaObject* object) {
    return object != nullptr && object->kind == ObjectKind::container ? static_cast<const MediaContainer*>(object)
                                                                      : nullptr;
}
ItemReference* as_reference(MediaObject* object) {
    return object != nullptr && object->kind == ObjectKind::reference ? static_cast<ItemReference*>(object) : nullptr;
}
const ItemReference* as_reference(const MediaObject* object) {
    return object != nullptr && object->kind == ObjectKind::reference ? static_cast<const ItemReference*>(object)
                                                                      : nullptr;
}

MediaItem* item_of(const StoreLock&, MediaObject* object) {
    if (object == nullptr) return nullptr;
    switch (object->kind) {
        case ObjectKind::item:
            return static_cast<MediaItem*>(object);
        case ObjectKind::reference:
            return find_item(static_cast<ItemReference*>(object)->target);
        case ObjectKind::container:
            break;
    }
    return nullptr;
}
const MediaItem* item_of(const StoreLock&, const MediaObject* object) {
    if (object == nullptr) return nullptr;
    switch (object->kind) {
        case ObjectKind::item:
            return static_cast<const MediaItem*>(object);
        case ObjectKind::reference:
            return find_item(static_cast<const ItemReference*>(object)->target);
        case ObjectKind::container:
            break;
    }
    return nullptr;
}

MediaContainer* tree_parent(const StoreLock&, const MediaObject& object) {
    return find_container(object.parent);
}

bool tree_is_below(const StoreLock&, const MediaObject& object, const MediaContainer& start) {
    // Upwards: the way to the root is short, the subtree may be the whole library.
    for (const MediaObject* at = &object; at != nullptr; at = tree_state().ids.find(at->parent))
        if (at->id == start.id) return true;
    return false;
}

MediaContainer* tree_find_child_container(const StoreLock&, std::string_view title, const MediaContainer& parent) {
    const SharedText pooled = tree_state().texts.find(title);
    if (!pooled) return nullptr;
    const auto found = tree_state().child_index.find({parent.id, pooled.identity()});
    return found != tree_state().child_index.end() ? found->second : nullptr;
}

MediaContainer* tree_next_container(const StoreLock&, const MediaContainer& current, const MediaContainer& start) {
    if (MediaContainer* const child = find_container(current.first_container)) return child;
    for (const MediaContainer* at = &current; at != nullptr && at->id != start.id; at = find_container(at->parent))
        if (MediaContainer* const sibling = find_container(at->next_container)) return sibling;
    return nullptr;
}

MediaItem* tree_find_path(const StoreLock&, ObjectClass media_class, std::string_view path) {
    if (static_cast<std::size_t>(media_class) >= kMediaTypes) return nullptr;
    const PathIndex& index = path_index(media_class);
    const auto found = index.find(path);
    return found != index.end() ? found->second : nullptr;
}

std::vector<MediaItem*> tree_items_below_directory(const StoreLock&, std::string_view directory) {
    const DirectoryIndex& directories = tree_state().directories;
    std::vector<MediaItem*> items;
    const auto take = [&items](ObjectId first) {
        for (MediaItem* item = find_item(first); item != nullptr; item = find_item(item->next_in_directory))
            items.push_back(item);
    };
    directory = without_final_slash(directory);
    // Two look-ups: "/a/b" and "/a/b/..." are not neighbours, names like "/a/b c" sort between them.
    if (const auto own = directories.find(directory); own != directories.end()) take(own->second);
    const std::string below = std::string{directory} + '/';
    for (auto at = directories.lower_bound(below); at != directories.end() && at->first.starts_with(below); ++at)
        take(at->second);
    return items;
}

std::vector<ObjectId> tree_prunable_containers(const StoreLock&) {
    return {tree_state().prunable.begin(), tree_state().prunable.end()};
}

void tree_mark_changed(const StoreLock&, MediaContainer& container) {
    if (!container.changed) {
        container.changed = true;
        ++container.update_id;
    }
    tree_state().store.changed = true;
}

void tree_item_changed(const StoreLock&) {
    ++tree_state().store.item_revision;
    ++tree_state().store.revision;
}

SharedText tree_intern(const StoreLock&, std::string_view text) {
    return tree_state().texts.intern(text);
}

void tree_collect_texts(const StoreLock&) {
    constexpr std::size_t kTextsOfOneItem = 16;  // a walk over so many for each removed item is cheap enough
    if (tree_state().removed_items * kTextsOfOneItem < tree_state().texts.size()) return;
    tree_state().texts.collect();
    tree_state().removed_items = 0;
}

MediaContainer& tree_create_root(const StoreLock&, std::string_view title) {
    MediaContainer& root = tree_state().containers.create();
    root.id = kRootId;
    root.title = tree_state().texts.intern(title);
    root.permanent = true;
    tree_state().ids.put(root);
    tree_state().store.root = &root;
    return root;
}

MediaContainer& tree_add_container(const StoreLock& lock, MediaContainer& parent, const NewContainer& wanted) {
    MediaContainer& container = tree_state().containers.create();
    container.id = tree_take_id(lock);
    container.title = wanted.title;
    container.object_class = wanted.object_class;
    container.permanent = wanted.permanent;
    container.view_number = wanted.view_number;
    prepend(lock, parent, container);
    chain_container(parent, container);
    note_child_count(container);
    return container;
}

MediaContainer& tree_find_or_add_container(const StoreLock& lock, MediaContainer& parent, const NewContainer& wanted) {
    const auto found = tree_state().child_index.find({parent.id, wanted.title.identity()});
    return found != tree_state().child_index.end() ? *found->second : tree_add_container(lock, parent, wanted);
}

ItemReference& tree_add_reference(const StoreLock& lock, MediaContainer& container, MediaItem& item,
                                  std::int32_t sort_key) {
    ItemReference& reference = tree_state().references.create();
    reference.id = tree_take_id(lock);
    reference.sort_key = sort_key;
    chain_reference(item, reference);
    prepend(lock, container, reference);
    return reference;
}

void tree_retarget(const StoreLock& lock, ItemReference& reference, MediaItem& item, std::int32_t sort_key) {
    MediaContainer& list = *find_container(reference.parent);
    const std::int64_t former_seconds = music_seconds_of(lock, reference);
    unchain_reference(reference);
    chain_reference(item, reference);
    reference.sort_key = sort_key;
    add_music_seconds(list, music_seconds_of(lock, reference) - former_seconds);
    list_changed(lock, list);
}

MediaItem& tree_add_item(const StoreLock& lock, MediaContainer& container, MediaItem&& wanted) {
    MediaItem& item = tree_state().items.create(std::move(wanted));
    if (item.id == kNoObject) item.id = tree_take_id(lock);
    item.seconds = duration_seconds(item.duration.view());
    prepend(lock, container, item);
    index_item(item);
    return item;
}

void tree_remove_reference(const StoreLock& lock, ItemReference& reference) {
    unlink(lock, *find_container(reference.parent), reference);
    unchain_reference(reference);
    tree_state().references.destroy(reference);
}

void tree_remove_references(const StoreLock& lock, const MediaContainer& start, MediaItem& item) {
    tree_for_each_reference(lock, item, [&](ItemReference& reference) {
        if (tree_is_below(lock, reference, start)) tree_remove_reference(lock, reference);
    });
}

void tree_remove_item(const StoreLock& lock, MediaItem& item) {
    // The whole chain goes, so taking the head each time is enough.
    while (ItemReference* const reference = find_reference(item.first_reference))
        tree_remove_reference(lock, *reference);
    unindex_item(item);
    ++tree_state().removed_items;
    unlink(lock, *find_container(item.parent), item);
    tree_state().items.destroy(item);
}

void tree_remove_container(const StoreLock& lock, MediaContainer& container) {
    // Deepest first and without recursion: folders nest as deep as paths are long.
    MediaContainer* at = &container;
    for (;;) {
        MediaObject* const child = tree_state().ids.find(at->first_child);
        if (child == nullptr) {
            MediaContainer* const parent = at == &container ? nullptr : find_container(at->parent);
            destroy_container(lock, *at);
            if (parent == nullptr) return;
            at = parent;
        } else if (child->kind == ObjectKind::container) {
            at = static_cast<MediaContainer*>(child);
        } else if (child->kind == ObjectKind::reference) {
            tree_remove_reference(lock, static_cast<ItemReference&>(*child));
        } else {
            tree_remove_item(lock, static_cast<MediaItem&>(*child));
        }
    }
}

void tree_clear(const StoreLock&) {
    Tree& all = tree_state();
    all.child_index.clear();
    for (PathIndex& index : all.path_index) index.clear();
    all.directories.clear();
    all.prunable.clear();
    all.ids.for_each([&](MediaObject& object) {
        switch (object.kind) {
            case ObjectKind::container:
                all.containers.destroy(static_cast<MediaContainer&>(object));
                break;
            case ObjectKind::item:
                all.items.destroy(static_cast<MediaItem&>(object));
                break;
            case ObjectKind::reference:
                all.references.destroy(static_cast<ItemReference&>(object));
                break;
        }
    });
    all.ids.clear();
    all.containers.release_blocks();
    all.items.release_blocks();
    all.references.release_blocks();
    all.texts.clear();
    // Counters go on: clients may still remember ids and update ids of before.
    const MediaStore former = all.store;
    all.store = MediaStore{.system_update_id = former.system_update_id,
                           .item_revision = former.item_revision + 1,
                           .revision = former.revision + 1,
                           .scan_pass = former.scan_pass};
}

std::size_t tree_object_count(const StoreLock&) {
    return tree_state().ids.size();
}
