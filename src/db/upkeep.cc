#include "db/upkeep.h"

#include <string>
#include <string_view>
#include <vector>

#include "core/file.h"
#include "core/log.h"
#include "db/media_store.h"
#include "db/objects.h"
#include "db/store.h"
#include "db/tree.h"

namespace {

struct LookedFor {
    ObjectId id;
    std::string path;
};

// Whether the item's file was not met by this scan pass: a candidate for removal, not a verdict.
bool is_unseen(const MediaStore& media, const MediaItem& item) {
    return item.seen_in_pass != media.scan_pass && !db_path_is_remote(item.path.view());
}

std::vector<LookedFor> unseen_files() {
    std::vector<LookedFor> unseen;
    StoreLock lock;
    const MediaStore& media = store(lock);
    for (MediaContainer* list : {media.all_tracks, media.all_pictures, media.all_videos}) {
        if (list == nullptr) continue;
        for (MediaObject& child : tree_children(lock, *list)) {
            const MediaItem* const item = item_of(lock, &child);
            if (item != nullptr && is_unseen(media, *item))
                unseen.push_back({item->id, std::string{item->path.view()}});
        }
    }
    return unseen;
}

std::vector<LookedFor> unseen_files_below(std::string_view directory) {
    std::vector<LookedFor> unseen;
    StoreLock lock;
    for (const MediaItem* item : tree_items_below_directory(lock, directory))
        if (is_unseen(store(lock), *item)) unseen.push_back({item->id, std::string{item->path.view()}});
    return unseen;
}

// The disk is asked for all of them before anything is locked.
void remove_gone(std::vector<LookedFor> files) {
    std::erase_if(files, [](const LookedFor& file) { return file_status(file.path).has_value(); });
    // One lock for each item: a client may browse in between.
    for (const LookedFor& file : files) {
        StoreLock lock;
        // Ids are never reused, so this is still the item that was looked for, if it is still there.
        if (MediaItem* const item = item_of(lock, tree_object(lock, file.id))) tree_remove_item(lock, *item);
    }
}

}  // namespace

void db_begin_scan_pass() {
    StoreLock lock;
    ++store(lock).scan_pass;
}

void db_remove_file(const std::string& path) {
    log_message(LOG_INFO, LOG_DB, "remove FILE: %s\n", path.c_str());
    StoreLock lock;
    for (const ObjectClass type : {ObjectClass::music_track, ObjectClass::movie, ObjectClass::photo}) {
        if (MediaItem* const item = db_find_in_type(lock, path, type)) return tree_remove_item(lock, *item);
    }
}

void db_remove_vanished() {
    remove_gone(unseen_files());
}

void db_remove_vanished_below(std::string_view directory) {
    remove_gone(unseen_files_below(directory));
}

void db_prune_empty() {
    StoreLock lock;
    if (const MediaContainer* const root = store(lock).root) db_prune_empty_below(lock, *root);
    tree_collect_texts(lock);
}

void db_prune_empty_below(const StoreLock& lock, const MediaContainer& start) {
    // A removed container may leave its parent empty, so this goes on until a round finds nothing.
    for (bool removed = true; removed;) {
        removed = false;
        for (const ObjectId id : tree_prunable_containers(lock)) {
            MediaContainer* const container = as_container(tree_object(lock, id));
            if (id == start.id || !tree_is_below(lock, *container, start)) continue;
            tree_remove_container(lock, *container);
            removed = true;
        }
    }
}

void db_clear_radio() {
    StoreLock lock;
    MediaStore& media = store(lock);
    if (media.internet_radio == nullptr) return;
    // Before the genres go, so that the update id stays; and also when there are none, so that clients look again
    // after every reading of the directory.
    media.internet_radio->changed = true;
    std::vector<MediaContainer*> genres;
    for (MediaContainer& container : tree_child_containers(lock, *media.internet_radio))
        if (&container != media.own_radio_stations) genres.push_back(&container);
    for (MediaContainer* genre : genres) tree_remove_container(lock, *genre);
}
