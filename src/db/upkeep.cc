#include "db/upkeep.h"

#include <algorithm>
#include <vector>

#include "core/file.h"
#include "core/log.h"
#include "db/store.h"

namespace {

struct LookedFor {
    ObjectId id;
    std::string path;
};

// What a scan pass has not met: candidates, not verdicts.
std::vector<LookedFor> unseen_files() {
    std::vector<LookedFor> unseen;
    StoreLock lock;
    const MediaStore& places = store(lock);
    for (MediaContainer* list : {places.all_tracks, places.all_pictures, places.all_videos}) {
        if (list == nullptr) continue;
        for (MediaObject& child : tree_children(lock, *list)) {
            const MediaItem* const item = item_of(lock, &child);
            if (item == nullptr || item->seen_in_pass == places.scan_pass || db_path_is_remote(item->path.view()))
                continue;
            unseen.push_back({item->id, std::string{item->path.view()}});
        }
    }
    return unseen;
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
    std::vector<LookedFor> gone = unseen_files();
    std::erase_if(gone, [](const LookedFor& file) { return file_status(file.path).has_value(); });
    // One lock for each item: a client may browse in between.
    for (const LookedFor& file : gone) {
        StoreLock lock;
        MediaItem* const item = item_of(lock, tree_object(lock, file.id));
        // Ids are never reused, so this is still the item that was looked for - if it is still there.
        if (item != nullptr) tree_remove_item(lock, *item);
    }
}

void db_prune_empty() {
    StoreLock lock;
    if (MediaContainer* const root = store(lock).root) db_prune_empty_below(lock, *root);
    tree_collect_texts(lock);
}

void db_prune_empty_below(const StoreLock& lock, MediaContainer& start) {
    std::vector<MediaContainer*> empty;
    const auto can_go = [](const MediaContainer& container) {
        return container.child_count == 0 && !container.permanent && container.parent != kRootId;
    };
    for (MediaContainer* at = &start; at != nullptr; at = tree_next_container(lock, *at, start))
        if (at != &start && can_go(*at)) empty.push_back(at);
    for (MediaContainer* at : empty) {
        // A removed child may have emptied its parents: they go in the same pass.
        while (at != nullptr && at != &start && can_go(*at)) {
            MediaContainer* const parent = tree_parent(lock, *at);
            tree_remove_container(lock, *at);
            at = parent;
        }
    }
}

void db_clear_radio() {
    StoreLock lock;
    MediaStore& places = store(lock);
    if (places.internet_radio == nullptr) return;
    // Before the genres go, so that the update id stays; and also when there are none, so that clients look again
    // after every reading of the directory.
    places.internet_radio->changed = true;
    std::vector<MediaContainer*> genres;
    for (MediaContainer& container : tree_child_containers(lock, *places.internet_radio))
        if (&container != places.own_radio_stations) genres.push_back(&container);
    for (MediaContainer* genre : genres) tree_remove_container(lock, *genre);
}
