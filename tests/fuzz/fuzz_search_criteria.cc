// Search criteria as a control point sends them: compiled, and evaluated on every kind of object. Whatever compiles
// must give the same verdict when it is asked again, and bad criteria must be bad for every object.
#include "core/settings.h"
#include "db/add_item.h"
#include "db/search.h"
#include "db/search_walk.h"
#include "db/store.h"
#include "target.h"

namespace {

bool make_store() {
    settings_set_defaults();
    db_create();
    return db_add_item({.title = "Say \"Help\"", .artist = "A", .date = "1965-08-06", .path = "http://h/a.mp3"}) ==
           AddResult::added;
}

}  // namespace

void fuzz(Bytes input) {
    static const bool made = make_store();
    require(made);
    const std::string_view text = as_text(input);
    const auto criteria = search_compile(text);
    StoreLock lock;
    std::size_t matches = 0;
    const MediaContainer& root = *store(lock).root;
    for (const MediaContainer* at = &root; at != nullptr; at = tree_next_container(lock, *at, root)) {
        for (const MediaObject& child : tree_children(lock, *at)) {
            const int verdict = search_match(lock, child, text);
            require(criteria ? verdict == (search_matches(lock, *criteria, child) ? 1 : 0) : verdict == -1);
            matches += verdict == 1 ? 1 : 0;
        }
    }
    require(!criteria || search_walk(lock, *criteria, false).size() == matches);
}
