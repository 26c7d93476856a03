// The tree itself: the store's state, its lock, the table that resolves ids, and every linking and unlinking. This file
// alone keeps child lists, counts, change marks and indexes in step; tree_check() (db/tree_check.h) walks all and
// compares. How the parts hang together stands at the head of db/tree.cc.
//
// Child lists are newest first and every new object takes the next id when it is linked, so a child list always
// descends in ids. No operation here costs more with a larger library, except where its answer is larger.
#pragma once

#include <cstdint>
#include <iterator>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "db/media_store.h"
#include "db/objects.h"

// Proof that the store is locked: functions that need the lock ask to see it. The mutex is not recursive. Under it only
// memory work is done: file status, sockets, DNS and disk happen before or after.
class StoreLock {
public:
    StoreLock();  // blocks
    StoreLock(const StoreLock&) = delete;
    StoreLock& operator=(const StoreLock&) = delete;

private:
    std::scoped_lock<std::mutex> guard_;
};

MediaStore& store(const StoreLock& lock);

// ---- looking

// Null for an id that was never given or whose object is gone.
MediaObject* tree_object(const StoreLock& lock, ObjectId id);

MediaContainer* as_container(MediaObject* object);  // null for other kinds and for null
const MediaContainer* as_container(const MediaObject* object);
ItemReference* as_reference(MediaObject* object);
const ItemReference* as_reference(const MediaObject* object);

// The item itself for an item, the target for a reference, null for a container and for null.
MediaItem* item_of(const StoreLock& lock, MediaObject* object);
const MediaItem* item_of(const StoreLock& lock, const MediaObject* object);

MediaContainer* tree_parent(const StoreLock& lock, const MediaObject& object);

// Whether object is start or lies below it.
bool tree_is_below(const StoreLock& lock, const MediaObject& object, const MediaContainer& start);

// for (MediaObject& child : tree_children(lock, container)); the list must not change meanwhile.
class ChildRange {
public:
    class iterator {
    public:
        using value_type = MediaObject;
        using difference_type = std::ptrdiff_t;
        iterator(const StoreLock& lock, ObjectId id) : lock_(&lock), object_(tree_object(lock, id)) {}
        MediaObject& operator*() const { return *object_; }
        iterator& operator++() {
            object_ = tree_object(*lock_, object_->next);
            return *this;
        }
        bool operator!=(std::default_sentinel_t) const { return object_ != nullptr; }

    private:
        const StoreLock* lock_;
        MediaObject* object_;
    };
    ChildRange(const StoreLock& lock, ObjectId first) : lock_(lock), first_(first) {}
    iterator begin() const { return {lock_, first_}; }
    std::default_sentinel_t end() const { return {}; }

private:
    const StoreLock& lock_;
    ObjectId first_;
};
inline ChildRange tree_children(const StoreLock& lock, const MediaContainer& container) {
    return {lock, container.first_child};
}

// The child containers alone, in child-list order.
class ContainerRange {
public:
    class iterator {
    public:
        iterator(const StoreLock& lock, ObjectId id) : lock_(&lock), container_(as_container(tree_object(lock, id))) {}
        MediaContainer& operator*() const { return *container_; }
        iterator& operator++() {
            container_ = as_container(tree_object(*lock_, container_->next_container));
            return *this;
        }
        bool operator!=(std::default_sentinel_t) const { return container_ != nullptr; }

    private:
        const StoreLock* lock_;
        MediaContainer* container_;
    };
    ContainerRange(const StoreLock& lock, ObjectId first) : lock_(lock), first_(first) {}
    iterator begin() const { return {lock_, first_}; }
    std::default_sentinel_t end() const { return {}; }

private:
    const StoreLock& lock_;
    ObjectId first_;
};
inline ContainerRange tree_child_containers(const StoreLock& lock, const MediaContainer& container) {
    return {lock, container.first_container};
}

// All references to an item, in no particular order; the chain must not change meanwhile.
template <typename Visit>
void tree_for_each_reference(const StoreLock& lock, const MediaItem& item, Visit visit) {
    for (ObjectId id = item.first_reference; id != kNoObject;) {
        ItemReference* const reference = as_reference(tree_object(lock, id));
        id = reference->next_of_target;
        visit(*reference);
    }
}

// The newest child container with exactly this title; null if there is none.
MediaContainer* tree_find_child_container(const StoreLock& lock, std::string_view title, const MediaContainer& parent);

// The container that follows current in a depth-first walk over the containers at and below start; null at the end. The
// walk needs no stack and does not look at items: for (c = &start; c != nullptr; c = tree_next_container(lock, *c,
// start)).
MediaContainer* tree_next_container(const StoreLock& lock, const MediaContainer& current, const MediaContainer& start);

// The item of a media type with this path: music below all tracks, radio below the own radio stations, pictures and
// videos.
MediaItem* tree_find_path(const StoreLock& lock, ObjectClass media_class, std::string_view path);

// The items whose files lie in the directory or below it, of every media type. The directory may end in "/".
std::vector<MediaItem*> tree_items_below_directory(const StoreLock& lock, std::string_view directory);

// The containers that are empty, not permanent and no direct children of the root.
std::vector<ObjectId> tree_prunable_containers(const StoreLock& lock);

// ---- changing

// Raises the container's update id (once between two event passes) and remembers that something changed.
void tree_mark_changed(const StoreLock& lock, MediaContainer& container);
// An item's listed text or number changed: remembered orders no longer hold.
void tree_item_changed(const StoreLock& lock);

// The shared form of a text that repeats.
SharedText tree_intern(const StoreLock& lock, std::string_view text);
// Gives back the shared texts that nothing uses any more, once enough items were removed to be worth a walk over all
// texts.
void tree_collect_texts(const StoreLock& lock);

MediaContainer& tree_create_root(const StoreLock& lock, std::string_view title);

struct NewContainer {
    SharedText title = {};  // from tree_intern
    ObjectClass object_class = ObjectClass::container;
    bool permanent = false;
    std::int32_t view_number = 0;
};
// Prepends a new container and marks the parent changed.
MediaContainer& tree_add_container(const StoreLock& lock, MediaContainer& parent, const NewContainer& wanted);
// The child container with this title, created when there is none.
MediaContainer& tree_find_or_add_container(const StoreLock& lock, MediaContainer& parent, const NewContainer& wanted);

// Prepends a reference to the item and marks the container changed.
ItemReference& tree_add_reference(const StoreLock& lock, MediaContainer& container, MediaItem& item,
                                  std::int32_t sort_key);
// Makes an existing reference refer to another item; marks its container changed.
void tree_retarget(const StoreLock& lock, ItemReference& reference, MediaItem& item, std::int32_t sort_key);

// The next id, for an item that takes it before the containers it goes to are made.
ObjectId tree_take_id(const StoreLock& lock);
// Prepends the item to its owning container; an item without an id takes it here.
MediaItem& tree_add_item(const StoreLock& lock, MediaContainer& container, MediaItem&& item);

void tree_remove_reference(const StoreLock& lock, ItemReference& reference);
// Removes every reference to the item that lies below start.
void tree_remove_references(const StoreLock& lock, const MediaContainer& start, MediaItem& item);
// Removes the item with all its references, wherever they are.
void tree_remove_item(const StoreLock& lock, MediaItem& item);
// Removes a container with everything below it, and every reference from elsewhere to an item that goes with it.
void tree_remove_container(const StoreLock& lock, MediaContainer& container);
// Frees the whole tree. Ids are not reset.
void tree_clear(const StoreLock& lock);

// How many objects there are, the root included.
std::size_t tree_object_count(const StoreLock& lock);
