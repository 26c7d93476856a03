#include "db/listing.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "core/str.h"
#include "db/listing_cache.h"
#include "db/objects.h"
#include "db/search_walk.h"
#include "db/shared_text.h"
#include "db/sort.h"
#include "db/tree.h"

namespace {

// Below this size sorting again is cheaper than evicting a large remembered listing.
constexpr std::size_t kWorthRemembering = 500;

constexpr std::string_view kShuffle = "Philips:shuffle";

ObjectIds child_ids(const StoreLock& lock, const MediaContainer& container) {
    ObjectIds ids;
    ids.reserve(static_cast<std::size_t>(container.child_count));
    for (const MediaObject& child : tree_children(lock, container)) ids.push_back(child.id);
    return ids;
}

// As many swaps as there are entries, two random numbers each. A client asks for all pages of one shuffled list with
// the same seed, so the same seed must give the same order.
void shuffle(ObjectIds& ids, std::uint32_t seed) {
    std::srand(seed);
    for (std::size_t i = 0; i < ids.size(); ++i) {
        const std::size_t first = static_cast<std::size_t>(std::rand()) % ids.size();
        const std::size_t second = static_cast<std::size_t>(std::rand()) % ids.size();
        std::swap(ids[first], ids[second]);
    }
}

const SortCriteria& criteria_for(const ListingOrder& order, const MediaContainer& container) {
    return order.requested ? *order.requested : sort_default_for(order.defaults, container.object_class);
}

// The order that all matches' containers agree on, or the general one.
const SortCriteria& criteria_for_matches(const StoreLock& lock, const ListingOrder& order, const ObjectIds& matches) {
    const SortCriteria* common = nullptr;
    for (const ObjectId id : matches) {
        const MediaContainer* const container = tree_parent(lock, *tree_object(lock, id));
        const SortCriteria& criteria = criteria_for(order, *container);
        if (common != nullptr && *common != criteria) return order.defaults.general;
        common = &criteria;
    }
    return common != nullptr ? *common : order.defaults.general;
}

bool titles_ascend(const SortCriteria& criteria) {
    return criteria.keys.empty() ? !criteria.titles_descending
                                 : criteria.keys.front() == SortKey{SortProperty::title, false};
}

template <typename Make>
Listing make_listing(Make make) {
    return std::make_shared<const ObjectIds>(make());
}

template <typename Make>
Listing recall_or_make(const StoreLock& lock, const ListingKey& key, Make make) {
    if (Listing known = listing_recall(lock, key)) return known;
    Listing made = make_listing(make);
    listing_remember(lock, key, made);
    return made;
}

bool is_worth_remembering(const MediaContainer& container) {
    return static_cast<std::size_t>(container.child_count) >= kWorthRemembering;
}

}  // namespace

ListingOrder listing_order(const Text& sort_criteria) {
    ListingOrder order{.defaults = sort_read_defaults()};
    if (!sort_criteria || sort_criteria->empty()) return order;
    order.requested = sort_compile(*sort_criteria);
    if (str_contains(*sort_criteria, kShuffle)) {
        const std::string_view seed = std::string_view{*sort_criteria}.substr(sort_criteria->rfind(':') + 1);
        order.shuffle_seed = static_cast<std::uint32_t>(text_int(seed));
    }
    return order;
}

Listing listing_children(const StoreLock& lock, const MediaContainer& container, const ListingOrder& order) {
    const MediaObject* const first = tree_object(lock, container.first_child);
    if (!order.shuffle_seed || first == nullptr || first->kind == ObjectKind::container)
        return listing_sorted_children(lock, container, order);
    const auto make = [&] {
        ObjectIds ids = child_ids(lock, container);
        shuffle(ids, *order.shuffle_seed);
        return ids;
    };
    if (!is_worth_remembering(container)) return make_listing(make);
    return recall_or_make(lock, {.container = container.id, .shuffle_seed = order.shuffle_seed}, make);
}

Listing listing_sorted_children(const StoreLock& lock, const MediaContainer& container, const ListingOrder& order) {
    const SortCriteria& criteria = criteria_for(order, container);
    const auto make = [&] {
        ObjectIds ids = child_ids(lock, container);
        sort_objects(lock, criteria, ids);
        return ids;
    };
    if (!is_worth_remembering(container)) return make_listing(make);
    return recall_or_make(lock, {.container = container.id, .orders = {criteria}}, make);
}

std::size_t listing_find_letter(const StoreLock& lock, const MediaContainer& container, const ListingOrder& order,
                                const ObjectIds& ids, std::string_view letter) {
    const auto is_before = [&](ObjectId id) {
        const MediaObject* const object = tree_object(lock, id);
        const MediaItem* const item = item_of(lock, object);
        const SharedText& title = item != nullptr ? item->title : as_container(object)->title;
        return !title || str_compare_nocase(title.view(), letter) < 0;
    };
    const auto is_container = [&](ObjectId id) { return as_container(tree_object(lock, id)) != nullptr; };

    const SortCriteria& criteria = criteria_for(order, container);
    auto found = ids.begin();
    if (!titles_ascend(criteria)) {
        found = std::find_if_not(ids.begin(), ids.end(), is_before);
    } else {
        // Titles ascend twice: over the containers, then over the items.
        const auto items =
            criteria.containers_first ? std::partition_point(ids.begin(), ids.end(), is_container) : ids.begin();
        found = std::partition_point(ids.begin(), items, is_before);
        if (found == items) found = std::partition_point(items, ids.end(), is_before);
    }
    return static_cast<std::size_t>(found - ids.begin());
}

Listing listing_search(const StoreLock& lock, const SearchQuery& query) {
    const SortDefaults& defaults = query.order.defaults;
    ListingKey key{.search = query.text, .each_title_once = query.each_title_once};
    if (query.order.requested) {
        key.orders = {*query.order.requested};
    } else {
        key.orders = {defaults.general, defaults.music, defaults.pictures};
    }
    return recall_or_make(lock, key, [&] {
        ObjectIds ids = search_walk(lock, query.criteria, query.each_title_once);
        sort_matches(lock, criteria_for_matches(lock, query.order, ids), ids);
        return ids;
    });
}
