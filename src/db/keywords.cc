#include "db/keywords.h"
#include <cstddef>
#include <string_view>

#include "db/objects.h"
#include "db/tree.h"
#include "db/upkeep.h"

namespace {

constexpr std::size_t kMaxName = 1023;

}  // namespace

void keywords_add_item(const StoreLock& lock, MediaItem& item) {
    MediaContainer& tags = *store(lock).tags;
    tree_remove_references(lock, tags, item);
    db_prune_empty_below(lock, tags);
    if (!item.keywords.has_text()) return;

    // "/" goes one container deeper, "," begins the next path: "Places/Rome,Friends" gives two references.
    std::string_view rest = item.keywords.view();
    MediaContainer* container = &tags;
    for (;;) {
        const std::size_t end = rest.find_first_of("/,");
        const std::string_view name = rest.substr(0, end);
        container = &tree_find_or_add_container(lock, *container,
                                                {.title = tree_intern(lock, name.substr(0, kMaxName)),
                                                 .object_class = ObjectClass::picture_container,
                                                 .permanent = true});
        const bool path_ends = end == std::string_view::npos || rest[end] == ',';
        if (path_ends) {
            tree_add_reference(lock, *container, item, -1);
            container = &tags;
        }
        if (end == std::string_view::npos) return;
        rest.remove_prefix(end + 1);
    }
}
