#include "db/search.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <type_traits>
#include <variant>
#include "core/str.h"
#include "db/objects.h"
#include "db/search_criteria.h"
#include "db/shared_text.h"
#include "db/tree.h"

namespace {

// The object that relations are evaluated for, and the item that has its properties (none for a container).
struct Subject {
    const StoreLock& lock;
    const MediaObject* object;
    const MediaItem* item;
    bool is_reference;
    std::int32_t track;
};

// Room for the digits of the numbers among the properties.
using Digits = std::array<char, 12>;

std::string_view decimal(std::int32_t number, Digits& digits) {
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    return {digits.data(), static_cast<std::size_t>(end - digits.data())};
}

using Value = std::optional<std::string_view>;

Value text_value(const SharedText& text) {
    return text ? Value{text.view()} : std::nullopt;
}

Value value_of_container(const MediaContainer& container, SearchProperty property, Digits& digits) {
    switch (property) {
        case SearchProperty::title:
            return text_value(container.title);
        case SearchProperty::object_class:
            return class_text(container.object_class);
        case SearchProperty::id:
            return decimal(container.id, digits);
        case SearchProperty::parent_id:
            return decimal(container.parent, digits);
        default:
            return std::nullopt;
    }
}

Value value_of(const Subject& subject, SearchProperty property, Digits& digits) {
    if (subject.item == nullptr)
        return value_of_container(static_cast<const MediaContainer&>(*subject.object), property, digits);
    const MediaItem& item = *subject.item;
    switch (property) {
        case SearchProperty::title:
            return text_value(item.title);
        case SearchProperty::resource:
            return text_value(item.path);
        case SearchProperty::artist:
            return text_value(item.artist);
        case SearchProperty::role:
            return "Composer";
        case SearchProperty::album_art:
            return decimal(item.album_art, digits);
        case SearchProperty::album:
            return text_value(item.album);
        case SearchProperty::genre:
            return text_value(item.genre);
        case SearchProperty::date:
            return text_value(item.date);
        case SearchProperty::object_class:
            return class_text(item.object_class);
        case SearchProperty::track_number:
            return decimal(subject.track, digits);
        case SearchProperty::id:
            return decimal(subject.object->id, digits);
        case SearchProperty::parent_id:
            // Kept on purpose: a reference is judged by its item here too, so it is found by the list that owns the
            // item and not by the container that shows it.
            return decimal(item.parent, digits);
        case SearchProperty::reference_id:
            return subject.is_reference ? Value{decimal(item.id, digits)} : std::nullopt;
    }
    return std::nullopt;
}

// order is below, equal or above 0, as the value compares with the wanted one.
bool fits_order(SearchOperator op, std::int64_t order) {
    switch (op) {
        case SearchOperator::equal:
            return order == 0;
        case SearchOperator::not_equal:
            return order != 0;
        case SearchOperator::less_or_equal:
            return order <= 0;
        case SearchOperator::less:
            return order < 0;
        case SearchOperator::greater_or_equal:
            return order >= 0;
        case SearchOperator::greater:
            return order > 0;
        default:
            return false;
    }
}

bool fits_text(SearchOperator op, std::string_view value, std::string_view wanted) {
    switch (op) {
        case SearchOperator::contains:
            return str_contains_nocase(value, wanted);
        case SearchOperator::does_not_contain:
            return !str_contains_nocase(value, wanted);
        case SearchOperator::derived_from:
            // Anywhere, not only at the beginning.
            return str_contains(value, wanted);
        default:
            return fits_order(op, value.compare(wanted));
    }
}

bool fits(const SearchRelation& relation, const Subject& subject) {
    Digits digits{};
    Value value = value_of(subject, relation.property, digits);
    if (relation.op == SearchOperator::exists) return value.has_value() == (relation.value == "true");
    if (!relation.value) return false;
    // Clients list what has no value under "Unknown" and then search for that.
    if (!value && *relation.value == "Unknown") value = "Unknown";
    if (!value) return false;
    if (relation.property == SearchProperty::track_number)
        return fits_order(relation.op, std::int64_t{text_int(*value)} - std::int64_t{text_int(*relation.value)});
    return fits_text(relation.op, *value, *relation.value);
}

bool fits(const SearchGroup& group, const Subject& subject);

bool fits(const SearchTerm& term, const Subject& subject) {
    return std::visit(
        [&](const auto& what) {
            if constexpr (std::is_same_v<std::decay_t<decltype(what)>, bool>) {
                return what;
            } else {
                return fits(what, subject);
            }
        },
        term.what);
}

// Rows are joined by "or", the terms of a row by "and".
bool fits(const SearchGroup& group, const Subject& subject) {
    return std::any_of(group.any_of.begin(), group.any_of.end(), [&](const SearchRow& row) {
        return std::all_of(row.all_of.begin(), row.all_of.end(),
                           [&](const SearchTerm& term) { return fits(term, subject); });
    });
}

// Evaluates the terms that are the same for all references of an item, and notes the results by group and row number.
void find_fits(const SearchGroup& group, const Subject& subject, ItemFits& found) {
    for (const SearchRow& row : group.any_of) {
        const bool fit = std::all_of(row.all_of.begin(), row.all_of.end(),
                                     [&](const SearchTerm& term) { return term.tells_apart || fits(term, subject); });
        if (fit) found.set(row.tells_apart ? row.number : group.number);
        for (const SearchTerm& term : row.all_of)
            if (const auto* const nested = std::get_if<SearchGroup>(&term.what); nested != nullptr && term.tells_apart)
                find_fits(*nested, subject, found);
    }
}

// The rest of the verdict: only terms that differ between references are evaluated, in rows whose other terms fit.
bool fits_beside(const SearchGroup& group, const Subject& subject, const ItemFits& known) {
    return known.test(group.number) || std::any_of(group.any_of.begin(), group.any_of.end(), [&](const SearchRow& row) {
               return row.tells_apart && known.test(row.number) &&
                      std::all_of(row.all_of.begin(), row.all_of.end(), [&](const SearchTerm& term) {
                          if (!term.tells_apart) return true;
                          const auto* const nested = std::get_if<SearchGroup>(&term.what);
                          return nested != nullptr ? fits_beside(*nested, subject, known) : fits(term, subject);
                      });
           });
}

Subject subject_of(const StoreLock& lock, const MediaObject& object) {
    const MediaItem* const item = item_of(lock, &object);
    const ItemReference* const reference = as_reference(&object);
    const std::int32_t own_track = reference != nullptr ? reference->sort_key : 0;
    const std::int32_t track = own_track >= 1 || item == nullptr ? own_track : item->track;
    return {lock, &object, item, reference != nullptr, track};
}

}  // namespace

bool search_matches(const StoreLock& lock, const SearchCriteria& criteria, const MediaObject& object) {
    return fits(criteria.top, subject_of(lock, object));
}

ItemFits search_item_fits(const StoreLock& lock, const SearchCriteria& criteria, const MediaItem& item) {
    ItemFits found;
    find_fits(criteria.top, subject_of(lock, item), found);
    return found;
}

bool search_matches(const StoreLock& lock, const SearchCriteria& criteria, const MediaObject& object,
                    const ItemFits& fits_of_item) {
    return fits_beside(criteria.top, subject_of(lock, object), fits_of_item);
}

bool search_matches_as_reference(const StoreLock& lock, const SearchCriteria& criteria, const MediaItem& item) {
    return fits(criteria.top, Subject{lock, &item, &item, true, item.track});
}

int search_match(const StoreLock& lock, const MediaObject& object, std::string_view criteria) {
    const auto compiled = search_compile(criteria);
    if (!compiled) return -1;
    return search_matches(lock, *compiled, object) ? 1 : 0;
}
