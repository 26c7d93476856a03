// The memory that holds the tree: records, id table and indexes. Only tree.cc changes it and only tree_check.cc reads
// it as well; everybody else goes through db/tree.h.
#pragma once

#include <array>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "db/id_table.h"
#include "db/media_store.h"
#include "db/record_pool.h"

// Container titles are pooled, so a child container is found by its parent and the identity of its title.
struct ChildKey {
    ObjectId parent;
    const void* title;
    bool operator==(const ChildKey&) const = default;
};
struct ChildKeyHash {
    std::size_t operator()(const ChildKey& key) const {
        const auto title = std::hash<const void*>{}(key.title);
        return (title >> 4) * 0x9E3779B97F4A7C15u ^ static_cast<std::size_t>(key.parent) * 0xC2B2AE3D27D4EB4Fu;
    }
};

using PathIndex = std::unordered_map<std::string_view, MediaItem*>;  // keyed by views of the items' own paths
constexpr std::size_t kMediaTypes = 4;

// Directory path, without a "/" at its end, to the first item of the chain through its files. Sorted, so that
// everything below a directory is one range of entries.
using DirectoryIndex = std::map<std::string, ObjectId, std::less<>>;

struct Tree {
    std::mutex mutex;
    MediaStore store;
    std::int32_t next_id = 1;
    IdTable ids;
    RecordPool<MediaContainer> containers;
    RecordPool<MediaItem> items;
    RecordPool<ItemReference> references;
    TextPool texts;
    std::unordered_map<ChildKey, MediaContainer*, ChildKeyHash> child_index;
    std::array<PathIndex, kMediaTypes> path_index;
    DirectoryIndex directories;
    std::unordered_set<ObjectId> prunable;  // the containers that are empty and may be pruned
    std::size_t removed_items = 0;          // since the unused texts were last collected
};

Tree& tree_state();
