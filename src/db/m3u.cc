#include "db/m3u.h"

#include <charconv>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "core/str.h"
#include "core/text_buffer.h"
#include "db/listing.h"
#include "db/listing_cache.h"
#include "db/objects.h"
#include "db/tree.h"

namespace {

constexpr std::size_t kMaxBytesOfFolder = 1'000'000;

ObjectId read_id(std::string_view text) {
    const std::string_view digits = text.substr(0, text.find('.'));
    ObjectId id = kNoObject;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), id);
    const bool all_read = error == std::errc{} && end == digits.data() + digits.size() && !digits.starts_with('-');
    return all_read ? id : kNoObject;
}

// Appends a folder's own tracks. Returns the next folder below start; kNoObject at the end or if one of them is gone.
ObjectId append_tracks(TextBuffer& text, ObjectId folder, ObjectId start, const ListingOrder& order,
                       std::string_view base_url) {
    const StoreLock lock;
    const MediaContainer* const top = as_container(tree_object(lock, start));
    const MediaContainer* const at = as_container(tree_object(lock, folder));
    if (top == nullptr || at == nullptr) return kNoObject;
    const std::size_t before = folder == start ? 0 : text.length();
    const Listing children = listing_sorted_children(lock, *at, order);
    for (const ObjectId child : *children) {
        const MediaItem* const item = item_of(lock, tree_object(lock, child));
        if (item == nullptr || item->object_class != ObjectClass::music_track) continue;
        text.append(base_url).append("disk/").append(std::to_string(item->id)).append(".mp3\r\n");
        if (text.length() - before > kMaxBytesOfFolder) break;
    }
    const MediaContainer* const next = tree_next_container(lock, *at, *top);
    return next != nullptr ? next->id : kNoObject;
}

bool is_container(ObjectId id) {
    const StoreLock lock;
    return as_container(tree_object(lock, id)) != nullptr;
}

}  // namespace

Text m3u_container(std::string_view base_url, std::string_view container_id) {
    const ListingOrder order = listing_order(std::nullopt);
    const ObjectId start = read_id(container_id);
    if (!is_container(start)) return std::nullopt;
    TextBuffer text{"#EXTM3U\r\n", 2048};
    // Other clients get their turn between two folders.
    for (ObjectId folder = start; folder != kNoObject && text.length() <= kMaxM3uBytes;)
        folder = append_tracks(text, folder, start, order, base_url);
    return std::move(text).take();
}
