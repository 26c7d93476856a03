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
    Text value;  // at most 1023 bytes; nullopt if the criteria ended before it
};

struct SearchRow;
// True when all terms of any of its rows are: "and" binds tighter than "or". No rows at all: false.
struct SearchGroup {
    std::vector<SearchRow> any_of;
    std::size_t number = 0;  // among all groups and rows, below 2 * kMaxSearchTerms + 2
};
struct SearchTerm {
    std::variant<SearchRelation, SearchGroup, bool> what;
    // Whether it may match an item but not its reference, or one reference but not another.
    bool tells_apart = false;
};
struct SearchRow {
    std::vector<SearchTerm> all_of = {};
    bool tells_apart = false;
    std::size_t number = 0;
};

struct SearchCriteria {
    SearchGroup top;
    // What tells a reference from its item.
    bool uses_id = false, uses_reference_id = false, uses_track_number = false;
};

// Returns nullopt for bad criteria: an unknown property or operator, a quote or group that is not closed, a connective
// that lacks a side, more than kMaxSearchTokens terms and connectives in a group, groups nested deeper than
// kMaxSearchDepth, or more than kMaxSearchTerms relations and groups in all.
std::optional<SearchCriteria> search_compile(std::string_view text);
constexpr std::size_t kMaxSearchTokens = 128;
constexpr std::size_t kMaxSearchDepth = 64;
constexpr std::size_t kMaxSearchTerms = 256;

// The only id that can match, when the criteria demand one: `@id = "12"`, alone or joined by "and".
std::optional<std::string_view> search_pinned_id(const SearchCriteria& criteria);
