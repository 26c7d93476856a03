// Search criteria (UPnP ContentDirectory:1, section 2.5.5, read forgivingly), compiled once per request and before the
// store is locked:
//
//     upnp:class derivedfrom "object.item.audioItem" and (dc:title contains "a" or upnp:artist = "b")
//
// What they mean for an object is in db/search.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <variant>
#include <vector>

#include "core/str.h"

enum class SearchProperty : std::uint8_t {
    title,
    resource,
    artist,
    role,
    album_art,
    album,
    genre,
    date,
    object_class,
    track_number,
    id,
    parent_id,
    reference_id,
};

enum class SearchOperator : std::uint8_t {
    equal,
    not_equal,
    less_or_equal,
    less,
    greater_or_equal,
    greater,
    contains,
    does_not_contain,
    derived_from,
    exists,
};

struct SearchRelation {
    SearchProperty property;
    SearchOperator op;
    Text value;               // at most 1023 bytes; missing where the criteria ended
    std::uint8_t number = 0;  // among the relations of the criteria, below kMaxSearchRelations
};

struct SearchTerm;
// True when all terms of any of its rows are: "and" binds tighter than "or". No rows at all: false.
struct SearchGroup {
    std::vector<std::vector<SearchTerm>> any_of;
};
struct SearchTerm {
    std::variant<SearchRelation, SearchGroup, bool> what;
};

struct SearchCriteria {
    SearchGroup top;
    // What tells a reference from its item.
    bool uses_id = false, uses_reference_id = false, uses_track_number = false;
};

// Missing for bad criteria: an unknown property or operator, an open quote or group, a connective without both its
// sides, more than kMaxSearchTokens truths and connectives in a group, kMaxSearchDepth nested groups or
// kMaxSearchRelations in all.
std::optional<SearchCriteria> search_compile(std::string_view text);
constexpr std::size_t kMaxSearchTokens = 128;
constexpr std::size_t kMaxSearchDepth = 64;
// As many as a group can have. The store is locked while a search looks at every item.
constexpr std::size_t kMaxSearchRelations = 64;

// The only id that can match, when the criteria demand one: `@id = "12"`, alone or joined by "and".
std::optional<std::string_view> search_pinned_id(const SearchCriteria& criteria);
