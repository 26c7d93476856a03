#include "db/group_facts.h"

#include <algorithm>
#include <unordered_map>

#include "core/process_wide.h"
#include "core/time_text.h"

namespace {

// Reading so few children again costs less than remembering what they gave.
constexpr std::size_t kFewChildren = 64;
constexpr std::size_t kMaxKnownFacts = 1024;

struct KnownFacts {
    std::uint32_t list_revision = 0, item_revision = 0;
    ObjectId artist = kNoObject, genre = kNoObject, album_art = kNoObject;
};
// Of the tracks directly in one container. A linked track's duration never changes, so the list decides alone.
struct KnownSeconds {
    std::uint32_t list_revision = 0;
    std::int64_t seconds = 0;
};

struct Known {
    std::unordered_map<ObjectId, KnownFacts> facts;
    std::unordered_map<ObjectId, KnownSeconds> seconds;
    std::size_t sweep_seconds_at = 4096;
};
Known& known() {
    return process_wide<Known>();
}

ObjectId id_of(const MediaItem* item) {
    return item != nullptr ? item->id : kNoObject;
}

std::int64_t seconds_in(const StoreLock& lock, const MediaContainer& container) {
    const auto remembered = known().seconds.find(container.id);
    if (remembered != known().seconds.end() && remembered->second.list_revision == container.list_revision)
        return remembered->second.seconds;
    std::int64_t seconds = 0;
    for (const MediaObject& child : tree_children(lock, container)) {
        const MediaItem* const item = item_of(lock, &child);
        if (item != nullptr && item->object_class == ObjectClass::music_track)
            seconds += duration_seconds(item->duration.view());
    }
    known().seconds[container.id] = {container.list_revision, seconds};
    return seconds;
}

// Containers that are gone leave the table when it has doubled since the last look.
void sweep_seconds(const StoreLock& lock) {
    if (known().seconds.size() < known().sweep_seconds_at) return;
    std::erase_if(known().seconds,
                  [&](const auto& entry) { return as_container(tree_object(lock, entry.first)) == nullptr; });
    known().sweep_seconds_at = std::max<std::size_t>(4096, known().seconds.size() * 2);
}

}  // namespace

GroupFacts group_facts(const StoreLock& lock, const MediaContainer& container) {
    const std::uint32_t item_revision = store(lock).item_revision;
    const auto remembered = known().facts.find(container.id);
    if (remembered != known().facts.end()) {
        const KnownFacts& facts = remembered->second;
        const auto item = [&](ObjectId id) { return item_of(lock, tree_object(lock, id)); };
        if (facts.list_revision == container.list_revision && facts.item_revision == item_revision)
            return {.artist = item(facts.artist), .genre = item(facts.genre), .album_art = item(facts.album_art)};
    }
    GroupFacts facts;
    std::size_t looked_at = 0;
    for (const MediaObject& child : tree_children(lock, container)) {
        ++looked_at;
        const MediaItem* const item = item_of(lock, &child);
        if (item == nullptr) continue;
        if (facts.artist == nullptr && item->artist.has_text()) facts.artist = item;
        if (facts.genre == nullptr && item->genre.has_text()) facts.genre = item;
        if (facts.album_art == nullptr && item->album_art != 0) facts.album_art = item;
        if (facts.artist != nullptr && facts.genre != nullptr && facts.album_art != nullptr) break;
    }
    if (looked_at <= kFewChildren) return facts;
    if (known().facts.size() >= kMaxKnownFacts) known().facts.clear();
    known().facts[container.id] = {.list_revision = container.list_revision,
                                   .item_revision = item_revision,
                                   .artist = id_of(facts.artist),
                                   .genre = id_of(facts.genre),
                                   .album_art = id_of(facts.album_art)};
    return facts;
}

std::int64_t didl_music_seconds(const StoreLock& lock, const MediaContainer& container) {
    sweep_seconds(lock);
    std::int64_t seconds = 0;
    for (const MediaContainer* at = &container; at != nullptr; at = tree_next_container(lock, *at, container))
        seconds += seconds_in(lock, *at);
    return seconds;
}

void group_facts_forget_all(const StoreLock&) {
    known().facts.clear();
    known().seconds.clear();
}
