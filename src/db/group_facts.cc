#include "db/group_facts.h"

#include <cstddef>
#include <cstdint>
#include <unordered_map>

#include "core/process_wide.h"
#include "db/objects.h"
#include "db/tree.h"

namespace {

// Reading so few children again costs less than remembering what was found.
constexpr std::size_t kFewChildren = 64;
constexpr std::size_t kMaxKnownFacts = 1024;

struct KnownFacts {
    std::uint32_t list_revision = 0, item_revision = 0;
    ObjectId artist = kNoObject, genre = kNoObject, album_art = kNoObject;
};
using KnownFactsById = std::unordered_map<ObjectId, KnownFacts>;
KnownFactsById& known() {
    return process_wide<KnownFactsById>();
}

ObjectId id_of(const MediaItem* item) {
    return item != nullptr ? item->id : kNoObject;
}

}  // namespace

GroupFacts group_facts(const StoreLock& lock, const MediaContainer& container) {
    // Stamped like a remembered listing: what was found holds while the list and all items are as they were.
    const std::uint32_t item_revision = store(lock).item_revision;
    const auto remembered = known().find(container.id);
    if (remembered != known().end()) {
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
    if (known().size() >= kMaxKnownFacts) known().clear();
    known()[container.id] = {.list_revision = container.list_revision,
                             .item_revision = item_revision,
                             .artist = id_of(facts.artist),
                             .genre = id_of(facts.genre),
                             .album_art = id_of(facts.album_art)};
    return facts;
}

std::int64_t didl_music_seconds(const StoreLock&, const MediaContainer& container) {
    return container.music_seconds;
}

void group_facts_forget_all(const StoreLock&) {
    known().clear();
}
