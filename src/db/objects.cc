#include "db/objects.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace {

constexpr std::array<std::string_view, 12> kClassTexts{
    "object.item.imageItem.photo",
    "object.item.audioItem.musicTrack",
    "object.item.audioItem.audioBroadcast",
    "object.item.videoItem.movie",
    "object.container",
    "object.container.playlistContainer",
    "object.container.musicContainer",
    "object.container.pictureContainer",
    "object.container.videoContainer",
    "object.container.storageFolder",
    "object.container.album.musicAlbum",
    "object.container.person.musicArtist",
};
constexpr std::size_t kItemClasses = 4;  // the first ones

}  // namespace

std::string_view class_text(ObjectClass object_class) {
    return kClassTexts[static_cast<std::size_t>(object_class)];
}

std::optional<ObjectClass> item_class_of(std::string_view text) {
    for (std::size_t i = 0; i < kItemClasses; ++i)
        if (kClassTexts[i] == text) return static_cast<ObjectClass>(i);
    return std::nullopt;
}

bool is_music_grouping(ObjectClass object_class) {
    return object_class == ObjectClass::music_album || object_class == ObjectClass::music_artist ||
           object_class == ObjectClass::playlist_container || object_class == ObjectClass::music_container;
}

bool db_path_is_remote(std::string_view path) {
    return path.starts_with("http://") || path.starts_with("ftp://");
}
