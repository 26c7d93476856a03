#include "db/m3u.h"

#include <charconv>
#include <string>

#include "core/text_buffer.h"
#include "db/listing.h"
#include "db/tree.h"

namespace {

constexpr std::size_t kMaxBytes = 1'000'000;        // of one container's own tracks
constexpr std::size_t kMaxBytesInAll = 32'000'000;  // a track stands below the music folder once for every view

ObjectId read_id(std::string_view text) {
    const std::string_view digits = text.substr(0, text.find('.'));
    ObjectId id = kNoObject;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), id);
    const bool all_read = error == std::errc{} && end == digits.data() + digits.size() && !digits.starts_with('-');
    return all_read ? id : kNoObject;
}

}  // namespace

Text m3u_container(std::string_view base_url, std::string_view container_id) {
    const ListingOrder order = listing_order(std::nullopt);
    const ObjectId id = read_id(container_id);
    TextBuffer text{"#EXTM3U\r\n", 2048};

    StoreLock lock;
    const MediaContainer* const start = as_container(tree_object(lock, id));
    if (start == nullptr) return std::nullopt;
    for (const MediaContainer* at = start; at != nullptr; at = tree_next_container(lock, *at, *start)) {
        const Listing children = listing_sorted_children(lock, *at, order);
        const std::size_t own_text = at == start ? 0 : text.length();
        for (const ObjectId child : *children) {
            const MediaItem* const item = item_of(lock, tree_object(lock, child));
            if (item == nullptr || item->object_class != ObjectClass::music_track) continue;
            text.append(base_url).append("disk/").append(std::to_string(item->id)).append(".mp3\r\n");
            if (text.length() - own_text > kMaxBytes) break;
        }
        if (text.length() > kMaxBytesInAll) break;
    }
    return std::move(text).take();
}
