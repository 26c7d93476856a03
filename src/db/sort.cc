// How it works. Keys are compared piece by piece: each entry holds the next 15 bytes of its current key as one number
// (Piece), and the entries are sorted by that number. Where pieces are equal, the next step looks further.
//
//     key 1, bytes 0-14    one run: all entries
//     key 1, bytes 15-29   the runs of equal pieces whose texts go on
//     key 2, bytes 0-14    the runs whose key 1 ended and is equal
//     ...                  until a run has one entry, or no key is left
//
// Invariant: entries of different runs are in their final order already, entries of one run are equal in everything
// that was looked at so far and still in the order they came in. Every step is stable, so ties keep that order. Small
// runs are sorted by insertion with whole comparisons instead.
//
// Matches of a search repeat: many references of few items. ItemPartition sorts the distinct items only, and hands out
// the references to them with a counting sort.
#include "db/sort.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "core/settings.h"
#include "core/settings_table.h"
#include "core/str.h"
#include "db/objects.h"
#include "db/shared_text.h"
#include "db/tree.h"

namespace {

struct KeyName {
    std::string_view name;
    SortProperty property;
};

// In order: the first name that the key begins with.
constexpr auto kKeyNames = std::to_array<KeyName>({
    {"dc:title", SortProperty::title},
    {"upnp:artist", SortProperty::artist},
    {"dc:creator", SortProperty::artist},
    {"upnp:album", SortProperty::album},
    {"upnp:genre", SortProperty::genre},
    {"dc:date", SortProperty::date},
    {"upnp:originalTrackNumber", SortProperty::track_number},
    {"res", SortProperty::resource},
});

void add_key(SortCriteria& criteria, std::string_view name, bool descending) {
    const auto known = std::find_if(kKeyNames.begin(), kKeyNames.end(),
                                    [&](const KeyName& key) { return name.starts_with(key.name); });
    if (known == kKeyNames.end()) return;
    const bool repeated = std::any_of(criteria.keys.begin(), criteria.keys.end(),
                                      [&](const SortKey& key) { return key.property == known->property; });
    if (!repeated) criteria.keys.push_back({known->property, descending});
}

SortCriteria compile_setting(Setting setting) {
    return sort_compile(text_or_empty(settings_get(setting)));
}

// An object with the item it is judged by; null for a container.
struct Subject {
    const MediaObject* object;
    const MediaItem* item;
};

Subject subject_of(const StoreLock& lock, const MediaObject& object) {
    return {&object, item_of(lock, &object)};
}

// Null if the object cannot have the property at all.
const SharedText* text_of(const Subject& subject, SortProperty property) {
    if (subject.item == nullptr)
        return property == SortProperty::title ? &static_cast<const MediaContainer*>(subject.object)->title : nullptr;
    switch (property) {
        case SortProperty::title:
            return &subject.item->title;
        case SortProperty::artist:
            return &subject.item->artist;
        case SortProperty::album:
            return &subject.item->album;
        case SortProperty::genre:
            return &subject.item->genre;
        case SortProperty::date:
            return &subject.item->date;
        case SortProperty::resource:
            return &subject.item->path;
        case SortProperty::track_number:
            break;
    }
    return nullptr;
}

// In a playlist the reference's position counts as the track number; everywhere else the item's own does.
std::int32_t track_of(const Subject& subject) {
    if (subject.item == nullptr) return 0;
    const ItemReference* const reference = as_reference(subject.object);
    return reference != nullptr && reference->sort_key >= 1 ? reference->sort_key : subject.item->track;
}

int compare_property(const Subject& a, const Subject& b, SortProperty property) {
    if (property == SortProperty::track_number) {
        const std::int32_t x = track_of(a), y = track_of(b);
        return x < y ? -1 : (x > y ? 1 : 0);
    }
    const SharedText* const x = text_of(a, property);
    const SharedText* const y = text_of(b, property);
    const bool has_x = x != nullptr && *x, has_y = y != nullptr && *y;
    if (!has_x || !has_y) return static_cast<int>(has_x) - static_cast<int>(has_y);
    if (x->same_as(*y)) return 0;  // pooled texts: mostly so within an album
    return property == SortProperty::date ? x->view().compare(y->view()) : str_compare_nocase(x->view(), y->view());
}

// The keys, then the title: what decides between two objects of one group.
std::vector<SortKey> deciding_keys(const SortCriteria& criteria) {
    std::vector<SortKey> keys = criteria.keys;
    keys.push_back({SortProperty::title, criteria.titles_descending});
    return keys;
}

int compare_keys(std::span<const SortKey> keys, const Subject& a, const Subject& b) {
    for (const SortKey& key : keys)
        if (const int order = compare_property(a, b, key.property)) return key.descending ? -order : order;
    return 0;
}

// Part of a sort key as one number: fifteen bytes, case folded, the first one highest; the lowest byte is one more than
// their count, so a shorter text sorts first and a missing one (0) before the empty one (1). Comparing these numbers
// fetches each text once a step; comparing the texts of 100,000 objects would fetch two some 1.7 million times.
struct Piece {
    std::uint64_t high = 0, low = 0;
    auto operator<=>(const Piece&) const = default;
};

constexpr std::size_t kPieceBytes = 15;
constexpr Piece kMissing{};  // before every text, the empty one included

Piece text_piece(const SharedText* text, std::size_t offset, bool fold) {
    if (text == nullptr || !*text) return kMissing;
    const std::string_view rest = text->view().substr(std::min(offset, text->view().size()));
    const std::size_t count = std::min(rest.size(), kPieceBytes);
    std::array<unsigned char, kPieceBytes + 1> bytes{};
    for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<unsigned char>(fold ? char_lower(rest[i]) : rest[i]);
    bytes[kPieceBytes] = static_cast<unsigned char>(count + 1);
    Piece piece;
    for (std::size_t i = 0; i < 8; ++i) {
        piece.high = piece.high << 8 | bytes[i];
        piece.low = piece.low << 8 | bytes[8 + i];
    }
    return piece;
}

// Whether the text may have more bytes after the piece.
bool may_go_on(const Piece& piece) {
    return (piece.low & 0xFF) == kPieceBytes + 1;
}

Piece piece_of(const Subject& subject, SortProperty property, std::size_t offset) {
    if (property != SortProperty::track_number)
        return text_piece(text_of(subject, property), offset, property != SortProperty::date);
    return {.high = static_cast<std::uint64_t>(std::int64_t{track_of(subject)} - std::int64_t{INT32_MIN})};
}

// Inverts the bits for a descending sort. Sorting backwards would reverse ties; this keeps the sort stable.
Piece turned(const Piece& piece, bool descending) {
    return descending ? Piece{~piece.high, ~piece.low} : piece;
}

struct Entry {
    Piece piece;
    Subject subject;
};

// Neighbouring entries that are equal in all that was looked at so far.
struct Run {
    std::span<Entry> entries;
    std::size_t key;     // index into the deciding keys
    std::size_t offset;  // bytes of that key that are known to be equal
};

class Sorter {
public:
    explicit Sorter(const SortCriteria& criteria) : keys_(deciding_keys(criteria)) {}

    // The runs that are still to be sorted wait on a stack of its own: long equal texts would nest calls too deep.
    void sort(std::span<Entry> entries) {
        runs_.push_back({entries, 0, 0});
        while (!runs_.empty()) {
            const Run run = runs_.back();
            runs_.pop_back();
            refine(run);
        }
    }

private:
    static constexpr std::size_t kFew = 24;

    // Sorts a run by its next piece and pushes the shorter runs that are still equal.
    void refine(const Run& run) {
        if (run.entries.size() < 2 || run.key == keys_.size()) return;
        const SortKey key = keys_[run.key];
        if (run.entries.size() <= kFew) return insert(run);
        if (run.offset == 0 && all_share_text(run.entries, key.property)) {
            runs_.push_back({run.entries, run.key + 1, 0});
            return;
        }
        for (Entry& entry : run.entries)
            entry.piece = turned(piece_of(entry.subject, key.property, run.offset), key.descending);
        const auto by_piece = [](const Entry& a, const Entry& b) { return a.piece < b.piece; };
        if (!std::is_sorted(run.entries.begin(), run.entries.end(), by_piece))
            std::stable_sort(run.entries.begin(), run.entries.end(), by_piece);
        split(run, key.descending);
    }

    void split(const Run& run, bool descending) {
        for (std::size_t first = 0, end = 0; first < run.entries.size(); first = end) {
            const Piece piece = run.entries[first].piece;
            while (end < run.entries.size() && run.entries[end].piece == piece) ++end;
            if (end - first < 2) continue;
            const std::span<Entry> equal = run.entries.subspan(first, end - first);
            if (may_go_on(turned(piece, descending))) {
                runs_.push_back({equal, run.key, run.offset + kPieceBytes});
            } else {
                runs_.push_back({equal, run.key + 1, 0});
            }
        }
    }

    // Insertion sort that compares whole texts, for runs of few entries.
    void insert(const Run& run) const {
        const std::span<const SortKey> keys = std::span{keys_}.subspan(run.key);
        const auto before = [&](const Entry& a, const Entry& b) {
            return compare_keys(keys, a.subject, b.subject) < 0;
        };
        for (auto next = run.entries.begin(); next != run.entries.end(); ++next)
            std::rotate(std::upper_bound(run.entries.begin(), next, *next, before), next, next + 1);
    }

    // The tracks of an album share the text of its title, so nothing of it need be read.
    static bool all_share_text(std::span<const Entry> entries, SortProperty property) {
        const SharedText* const first = text_of(entries.front().subject, property);
        if (first == nullptr) return false;
        return std::all_of(entries.begin(), entries.end(), [&](const Entry& entry) {
            const SharedText* const text = text_of(entry.subject, property);
            return text != nullptr && text->same_as(*first);
        });
    }

    std::vector<SortKey> keys_;
    std::vector<Run> runs_;
};

bool is_container(const Entry& entry) {
    return entry.subject.item == nullptr;
}

std::vector<Entry> sorted_entries(const StoreLock& lock, const SortCriteria& criteria,
                                  const std::vector<ObjectId>& ids) {
    std::vector<Entry> entries;
    entries.reserve(ids.size());
    for (const ObjectId id : ids) entries.push_back({kMissing, subject_of(lock, *tree_object(lock, id))});
    auto items = entries.begin();
    if (criteria.containers_first) {
        items = std::stable_partition(entries.begin(), entries.end(), is_container);
        Sorter{criteria}.sort({entries.begin(), items});
    }
    Sorter{criteria}.sort({items, entries.end()});
    return entries;
}

// Groups matches by the object whose properties they are compared by. A search may find 33 references to each of
// 100,000 items, and all of them compare like their item: only the items are sorted, giving each a rank, and a counting
// sort then puts the matches in the order of their ranks.
class ItemPartition {
public:
    ItemPartition(const StoreLock& lock, const SortCriteria& criteria, const std::vector<ObjectId>& ids)
        : lock_(lock), criteria_(criteria), ids_(ids) {
        const bool by_track = std::any_of(criteria.keys.begin(), criteria.keys.end(), [](const SortKey& key) {
            return key.property == SortProperty::track_number;
        });
        subjects_.reserve(ids.size());
        for (const ObjectId id : ids) {
            subjects_.push_back(compared_by(*tree_object(lock, id), by_track));
            const auto index = static_cast<std::size_t>(subjects_.back());
            if (index >= ranks_.size()) ranks_.resize(std::max(index + 1, ranks_.size() * 2), kNoRank);
            if (std::exchange(ranks_[index], 0) == kNoRank) distinct_.push_back(subjects_.back());
        }
    }

    // Whether the distinct subjects are few enough, at most half of the matches.
    bool is_worth_it() const { return distinct_.size() * 2 <= ids_.size(); }

    std::vector<ObjectId> in_order() {
        const std::uint32_t rank_count = assign_ranks();
        // next[rank]: where the next match of that rank goes, at first after all matches of lower ranks.
        std::vector<std::size_t> next(rank_count + 1);
        for (const ObjectId subject : subjects_) ++next[ranks_[static_cast<std::size_t>(subject)] + 1];
        for (std::size_t rank = 1; rank < next.size(); ++rank) next[rank] += next[rank - 1];
        std::vector<ObjectId> ordered(ids_.size());
        for (std::size_t i = 0; i < ids_.size(); ++i)
            ordered[next[ranks_[static_cast<std::size_t>(subjects_[i])]]++] = ids_[i];
        return ordered;
    }

private:
    static constexpr std::uint32_t kNoRank = UINT32_MAX;

    // A reference is compared by its item, unless the track number counts and it has one of its own.
    static ObjectId compared_by(const MediaObject& object, bool by_track) {
        const ItemReference* const reference = as_reference(&object);
        const bool has_own_track = by_track && reference != nullptr && reference->sort_key >= 1;
        return reference == nullptr || has_own_track ? object.id : reference->target;
    }

    // Equal subjects share a rank, so that their matches stay in the order they came in. Returns how many ranks there
    // are.
    std::uint32_t assign_ranks() {
        const std::vector<SortKey> keys = deciding_keys(criteria_);
        std::uint32_t rank = 0;
        const Entry* previous = nullptr;
        const std::vector<Entry> entries = sorted_entries(lock_, criteria_, distinct_);
        for (const Entry& entry : entries) {
            if (previous != nullptr && !are_equal(keys, *previous, entry)) ++rank;
            ranks_[static_cast<std::size_t>(entry.subject.object->id)] = rank;
            previous = &entry;
        }
        return rank + 1;
    }
    bool are_equal(std::span<const SortKey> keys, const Entry& a, const Entry& b) const {
        const bool one_group = !criteria_.containers_first || is_container(a) == is_container(b);
        return one_group && compare_keys(keys, a.subject, b.subject) == 0;
    }

    const StoreLock& lock_;
    const SortCriteria& criteria_;
    const std::vector<ObjectId>& ids_;
    std::vector<ObjectId> subjects_;    // what each match is compared by
    std::vector<std::uint32_t> ranks_;  // by subject id
    std::vector<ObjectId> distinct_;
};

// Fewer matches than this are sorted directly.
constexpr std::size_t kMany = 10'000;

}  // namespace

SortCriteria sort_compile(std::string_view text) {
    SortCriteria criteria;
    while (!text.empty()) {
        const std::size_t comma = std::min(text.find(','), text.size());
        std::string_view key = text.substr(0, comma);
        text.remove_prefix(std::min(comma + 1, text.size()));
        const bool descending = key.starts_with('-');
        if (descending || key.starts_with('+')) key.remove_prefix(1);
        add_key(criteria, key, descending);
        criteria.titles_descending = descending;
        criteria.containers_first = true;
    }
    return criteria;
}

SortDefaults sort_read_defaults() {
    return {.general = compile_setting(Setting::container_sort),
            .music = compile_setting(Setting::music_sort),
            .pictures = compile_setting(Setting::picture_sort)};
}

const SortCriteria& sort_default_for(const SortDefaults& defaults, ObjectClass container_class) {
    switch (container_class) {
        case ObjectClass::playlist_container:
        case ObjectClass::music_container:
        case ObjectClass::music_track:
        case ObjectClass::music_album:
            return defaults.music;
        case ObjectClass::photo:
        case ObjectClass::picture_container:
            return defaults.pictures;
        default:
            return defaults.general;
    }
}

int sort_compare(const StoreLock& lock, const SortCriteria& criteria, const MediaObject& a, const MediaObject& b) {
    const Subject x = subject_of(lock, a), y = subject_of(lock, b);
    // Kept on purpose: this holds for (container, item) alone. The reverse pair is decided by the keys.
    if (criteria.containers_first && x.item == nullptr && y.item != nullptr) return -1;
    return compare_keys(deciding_keys(criteria), x, y);
}

void sort_objects(const StoreLock& lock, const SortCriteria& criteria, std::vector<ObjectId>& ids) {
    const std::vector<Entry> entries = sorted_entries(lock, criteria, ids);
    std::transform(entries.begin(), entries.end(), ids.begin(),
                   [](const Entry& entry) { return entry.subject.object->id; });
}

void sort_matches(const StoreLock& lock, const SortCriteria& criteria, std::vector<ObjectId>& ids) {
    if (ids.size() < kMany) return sort_objects(lock, criteria, ids);
    ItemPartition partition{lock, criteria, ids};
    if (!partition.is_worth_it()) return sort_objects(lock, criteria, ids);
    ids = partition.in_order();
}
