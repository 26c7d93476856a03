#include "db/tree_check.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "core/str.h"
#include "core/time_text.h"
#include "db/objects.h"
#include "db/tree.h"
#include "db/tree_state.h"

namespace {

class Checker {
public:
    explicit Checker(const StoreLock& lock) : lock_(lock) {}

    std::string run() {
        const MediaContainer* const root = store(lock_).root;
        if (root == nullptr) {
            if (tree_state().ids.size() != 0) differ("objects without a root", kNoObject);
            return difference_;
        }
        check_container(*root);
        if (seen_.size() != tree_state().ids.size()) differ("objects that no list holds", kNoObject);
        check_chains();
        check_path_indexes();
        check_directories();
        if (prunable_ != tree_state().prunable) differ("wrong set of prunable containers", kNoObject);
        if (child_titles_ != tree_state().child_index.size()) differ("child index of another size", kNoObject);
        return difference_;
    }

private:
    void differ(const char* what, ObjectId id) {
        if (difference_.empty()) difference_ = text_format(200, "%s (object %d)", what, id);
    }

    // Follows the child list link by link, so that a wrong link is found where it is and not by its consequences. Notes
    // what the indexes must hold; the checks that follow compare them with it.
    void check_container(const MediaContainer& container) {
        seen_.insert(container.id);
        std::set<std::string_view> titles;
        std::int32_t count = 0;
        std::int64_t music_seconds = 0;
        ObjectId previous = kNoObject;
        ObjectId expected_container = container.first_container;
        for (ObjectId id = container.first_child; id != kNoObject; ++count) {
            MediaObject* const child = tree_object(lock_, id);
            if (child == nullptr) return differ("list with a missing object", id);
            if (child->parent != container.id) differ("wrong parent", id);
            if (child->previous != previous) differ("wrong previous sibling", id);
            if (previous != kNoObject && id >= previous) differ("list not newest first", id);
            previous = id;
            if (const MediaContainer* const inner = as_container(child)) {
                if (id != expected_container) differ("wrong container chain", id);
                expected_container = inner->next_container;
                if (titles.insert(inner->title.view()).second &&
                    tree_find_child_container(lock_, inner->title.view(), container) != inner)
                    differ("not the first of its title in the child index", id);
                check_container(*inner);
                music_seconds += inner->music_seconds;
            } else if (const ItemReference* const reference = as_reference(child)) {
                seen_.insert(id);
                ++references_[reference->target];
            } else {
                seen_.insert(id);
                items_.push_back(static_cast<const MediaItem*>(child));
            }
            const MediaItem* const item = item_of(lock_, child);
            if (item != nullptr && item->object_class == ObjectClass::music_track)
                music_seconds += duration_seconds(item->duration.view());
            id = child->next;
        }
        if (expected_container != kNoObject) differ("container chain too long", container.id);
        if (music_seconds != container.music_seconds) differ("wrong play time", container.id);
        if (count != container.child_count) differ("wrong child count", container.id);
        if (count == 0 && !container.permanent && container.parent != kRootId) prunable_.insert(container.id);
        child_titles_ += titles.size();
    }

    void check_chains() {
        for (const MediaItem* item : items_) {
            std::int32_t chained = 0;
            tree_for_each_reference(lock_, *item, [&](const ItemReference& reference) {
                ++chained;
                if (reference.target != item->id) differ("reference in a foreign chain", reference.id);
            });
            if (chained != references_[item->id]) differ("reference chain of another length", item->id);
            references_.erase(item->id);
        }
        if (!references_.empty()) differ("reference to no item", references_.begin()->first);
    }

    void check_path_indexes() {
        std::size_t indexed = 0;
        for (const auto& index : tree_state().path_index) {
            indexed += index.size();
            for (const auto& [path, item] : index)
                if (item->path.view() != path || !seen_.contains(item->id)) differ("stale path index", item->id);
        }
        std::size_t expected = 0;
        for (const MediaItem* item : items_)
            if (tree_find_path(lock_, item->object_class, item->path.view()) == item) ++expected;
        if (indexed != expected) differ("path index of another size", kNoObject);
    }

    // Every file is in the chain of its directory, once.
    void check_directories() {
        std::size_t chained = 0, expected = 0;
        for (const auto& [directory, first] : tree_state().directories) {
            ObjectId previous = kNoObject;
            for (ObjectId id = first; id != kNoObject; ++chained) {
                const MediaItem* const item = item_of(lock_, tree_object(lock_, id));
                if (item == nullptr || item->previous_in_directory != previous)
                    return differ("wrong chain of a directory", id);
                if (!directory.empty() && !item->path.view().starts_with(directory + '/'))
                    differ("file in a foreign directory", id);
                previous = std::exchange(id, item->next_in_directory);
            }
            if (previous == kNoObject) differ("directory without files", kNoObject);
        }
        for (const MediaItem* item : items_)
            if (item->object_class != ObjectClass::audio_broadcast && !db_path_is_remote(item->path.view())) ++expected;
        if (chained != expected) differ("files that no directory holds", kNoObject);
    }

    const StoreLock& lock_;
    std::string difference_;
    std::unordered_set<ObjectId> prunable_;
    std::set<ObjectId> seen_;
    std::vector<const MediaItem*> items_;
    std::map<ObjectId, std::int32_t> references_;
    std::size_t child_titles_ = 0;
};

}  // namespace

std::string tree_check(const StoreLock& lock) {
    return Checker{lock}.run();
}
