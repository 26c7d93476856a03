// How it works. The result is defined by a walk: depth first from the root's children, newest first, every object that
// matches. The tree holds some 33 references for each item, so the walk itself is the last resort:
//
//     criteria name one id ("@id = ...")         look that object up
//     criteria use "@id" in another way          walk; what an item's references share is evaluated once
//     else: evaluate the criteria once an item
//       many items match, or tracks decide       walk; a reference's verdict is looked up by its item
//       few items match                          collect them with their references, sort them into walk order
//
// All ways give the same list: an object matches or not whichever way it is reached, and WalkOrder is the order of the
// walk because child lists descend in ids.
#include "db/search_walk.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "core/str.h"
#include "db/objects.h"
#include "db/search.h"
#include "db/search_criteria.h"
#include "db/tree.h"

namespace {

using ObjectIds = std::vector<ObjectId>;

// If the references of more than 1 item in 20 match, a full walk is cheaper than sorting the matches.
constexpr std::size_t kWalkFrom = 20;

// ---- the walk itself

// The object that follows current in a depth-first walk over everything below the root; null at the end.
const MediaObject* next_object(const StoreLock& lock, const MediaObject& current) {
    if (const MediaContainer* const container = as_container(&current))
        if (const MediaObject* const child = tree_object(lock, container->first_child)) return child;
    for (const MediaObject* at = &current; at != nullptr; at = tree_parent(lock, *at))
        if (const MediaObject* const sibling = tree_object(lock, at->next)) return sibling;
    return nullptr;
}

template <typename Fits>
ObjectIds walk_all(const StoreLock& lock, Fits fits) {
    ObjectIds matches;
    const MediaObject* at = store(lock).root;
    while (at != nullptr && (at = next_object(lock, *at)) != nullptr)
        if (fits(*at)) matches.push_back(at->id);
    return matches;
}

// ---- verdicts on items

// One bit an object id.
class IdSet {
public:
    void add(ObjectId id) {
        const auto index = static_cast<std::size_t>(id);
        if (index >= bits_.size()) bits_.resize(std::max(index + 1, bits_.size() * 2));
        bits_[index] = true;
    }
    bool has(ObjectId id) const {
        const auto index = static_cast<std::size_t>(id);
        return index < bits_.size() && bits_[index];
    }

private:
    std::vector<bool> bits_;
};

struct Verdicts {
    IdSet as_item, as_reference;                 // items that match themselves, and whose references do
    std::vector<const MediaItem*> matching;      // in either way
    std::size_t items = 0, with_references = 0;  // all there are; those whose references match
};

template <typename Visit>
void visit_items_of(const StoreLock& lock, const MediaContainer* container, Visit visit) {
    if (container == nullptr) return;
    for (const MediaObject& child : tree_children(lock, *container))
        if (child.kind == ObjectKind::item) visit(static_cast<const MediaItem&>(child));
}

// Every item once, in the list that owns it: all tracks, all pictures, all videos, or a container of internet radio.
template <typename Visit>
void visit_items(const StoreLock& lock, Visit visit) {
    const MediaStore& media = store(lock);
    for (const MediaContainer* list : {media.all_tracks, media.all_pictures, media.all_videos})
        visit_items_of(lock, list, visit);
    const MediaContainer* const radio = media.internet_radio;
    for (const MediaContainer* at = radio; at != nullptr; at = tree_next_container(lock, *at, *radio))
        visit_items_of(lock, at, visit);
}

Verdicts judge_items(const StoreLock& lock, const SearchCriteria& criteria) {
    Verdicts verdicts;
    visit_items(lock, [&](const MediaItem& item) {
        ++verdicts.items;
        const bool fits = search_matches(lock, criteria, item);
        const bool reference_fits =
            criteria.uses_reference_id ? search_matches_as_reference(lock, criteria, item) : fits;
        if (fits) verdicts.as_item.add(item.id);
        if (fits || reference_fits) verdicts.matching.push_back(&item);
        if (!reference_fits) return;
        verdicts.as_reference.add(item.id);
        ++verdicts.with_references;
    });
    return verdicts;
}

// The walk, with each reference judged by its item's verdict. Containers are few and are evaluated as they come.
ObjectIds walk_by_verdicts(const StoreLock& lock, const SearchCriteria& criteria, const Verdicts& verdicts) {
    return walk_all(lock, [&](const MediaObject& object) {
        const ItemReference* const reference = as_reference(&object);
        if (reference == nullptr) {
            return object.kind == ObjectKind::item ? verdicts.as_item.has(object.id)
                                                   : search_matches(lock, criteria, object);
        }
        const bool has_own_track = criteria.uses_track_number && reference->sort_key >= 1;
        return has_own_track ? search_matches(lock, criteria, object) : verdicts.as_reference.has(reference->target);
    });
}

// Criteria on ids fit each reference differently: what all references of an item share is evaluated once.
ObjectIds walk_by_ids(const StoreLock& lock, const SearchCriteria& criteria) {
    std::unordered_map<ObjectId, ItemFits> known;
    return walk_all(lock, [&](const MediaObject& object) {
        const MediaItem* const item = item_of(lock, &object);
        if (item == nullptr) return search_matches(lock, criteria, object);
        const auto [fits, is_new] = known.try_emplace(item->id);
        if (is_new) fits->second = search_item_fits(lock, criteria, *item);
        return search_matches(lock, criteria, object, fits->second);
    });
}

// ---- few matches, put in the order of the walk

// Sorts objects by the path of ids from the root to each. Child lists descend in ids, so the walk meets the larger id
// first where two paths differ, and a container before what lies in it.
class WalkOrder {
public:
    explicit WalkOrder(const StoreLock& lock) : lock_(lock) {}

    void add(const MediaObject& object) {
        const std::size_t first = steps_.size();
        for (const MediaObject* at = &object; at->id != kRootId; at = tree_parent(lock_, *at)) steps_.push_back(at->id);
        std::reverse(steps_.begin() + static_cast<std::ptrdiff_t>(first), steps_.end());
        ways_.push_back({first, steps_.size() - first});
    }

    ObjectIds in_order() && {
        std::sort(ways_.begin(), ways_.end(), [&](const Way& a, const Way& b) {
            const std::span<const ObjectId> x = steps_of(a), y = steps_of(b);
            const auto [in_x, in_y] = std::mismatch(x.begin(), x.end(), y.begin(), y.end());
            return in_x == x.end() || in_y == y.end() ? x.size() < y.size() : *in_x > *in_y;
        });
        ObjectIds ids;
        for (const Way& way : ways_) ids.push_back(steps_of(way).back());
        return ids;
    }

private:
    struct Way {
        std::size_t first, count;
    };
    std::span<const ObjectId> steps_of(const Way& way) const { return std::span{steps_}.subspan(way.first, way.count); }

    const StoreLock& lock_;
    ObjectIds steps_;  // of all ways, one after the other
    std::vector<Way> ways_;
};

// Looks at all containers, but only at those references whose item matches.
ObjectIds collect_few(const StoreLock& lock, const SearchCriteria& criteria, const Verdicts& verdicts) {
    WalkOrder order{lock};
    const MediaContainer& root = *store(lock).root;
    for (const MediaContainer* at = tree_next_container(lock, root, root); at != nullptr;
         at = tree_next_container(lock, *at, root))
        if (search_matches(lock, criteria, *at)) order.add(*at);
    for (const MediaItem* item : verdicts.matching) {
        if (verdicts.as_item.has(item->id)) order.add(*item);
        if (!verdicts.as_reference.has(item->id)) continue;
        tree_for_each_reference(lock, *item, [&](const ItemReference& reference) { order.add(reference); });
    }
    return std::move(order).in_order();
}

// ---- which way

// The only object that criteria with "@id = ..." can match. The root itself is never listed.
ObjectIds pinned_match(const StoreLock& lock, const SearchCriteria& criteria, std::string_view text) {
    ObjectId id = kNoObject;
    std::from_chars(text.data(), text.data() + text.size(), id);
    const MediaObject* const object = id != kRootId ? tree_object(lock, id) : nullptr;
    if (object == nullptr || !search_matches(lock, criteria, *object)) return {};
    return {id};
}

ObjectIds matches_in_walk_order(const StoreLock& lock, const SearchCriteria& criteria) {
    if (store(lock).root == nullptr || criteria.top.any_of.empty()) return {};
    if (const auto id = search_pinned_id(criteria)) return pinned_match(lock, criteria, *id);
    if (criteria.uses_id) return walk_by_ids(lock, criteria);
    const Verdicts verdicts = judge_items(lock, criteria);
    // A playlist position may match where the item's own track does not, so every reference has to be looked at.
    if (criteria.uses_track_number || verdicts.with_references * kWalkFrom > verdicts.items)
        return walk_by_verdicts(lock, criteria, verdicts);
    return collect_few(lock, criteria, verdicts);
}

std::string_view title_of(const StoreLock& lock, const MediaObject& object) {
    const MediaItem* const item = item_of(lock, &object);
    return item != nullptr ? item->title.view() : as_container(&object)->title.view();
}

void keep_each_title_once(const StoreLock& lock, ObjectIds& matches) {
    IdSet items_seen;  // spares folding the title of every further reference
    std::unordered_set<std::string> titles;
    std::erase_if(matches, [&](ObjectId id) {
        const MediaObject& object = *tree_object(lock, id);
        if (const MediaItem* const item = item_of(lock, &object)) {
            if (items_seen.has(item->id)) return true;
            items_seen.add(item->id);
        }
        std::string title{title_of(lock, object)};
        std::transform(title.begin(), title.end(), title.begin(), char_lower);
        return !titles.insert(std::move(title)).second;
    });
}

}  // namespace

std::vector<ObjectId> search_walk(const StoreLock& lock, const SearchCriteria& criteria, bool each_title_once) {
    ObjectIds matches = matches_in_walk_order(lock, criteria);
    if (each_title_once) keep_each_title_once(lock, matches);
    return matches;
}
