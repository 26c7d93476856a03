#include "meta/wma.h"

#include <algorithm>
#include <memory>

#include "core/file.h"
#include "core/log.h"
#include "db/add_item.h"

WmaTags wma_read_tags(const std::string& path) {
    WmaTags tags;
    const File file = file_open_regular(path);
    const auto status = file ? file.status() : file_status(path);
    if (!status) return tags;
    tags.size = static_cast<std::uint64_t>(status->size);
    tags.modified = static_cast<std::int32_t>(status->modified);
    const std::size_t wanted = static_cast<std::size_t>(std::min<std::uint64_t>(tags.size, kAsfHeadBytes));
    if (!file || wanted < kAsfLeastBytes) return tags;

    const auto buffer = std::make_unique_for_overwrite<std::byte[]>(wanted);
    const Bytes head{buffer.get(), file.read_at(0, {buffer.get(), wanted})};
    tags.asf = asf_read(head, tags.size, tag_charset());
    return tags;
}

void wma_add_item(const std::string& path, bool compilation) {
    WmaTags tags = wma_read_tags(path);
    const AddResult result = db_add_item({.title = std::move(tags.asf.title),
                                          .media_class = ObjectClass::music_track,
                                          .artist = std::move(tags.asf.artist),
                                          .album = std::move(tags.asf.album),
                                          .genre = std::move(tags.asf.genre),
                                          .date = std::move(tags.asf.date),
                                          .path = path,
                                          .duration = std::move(tags.asf.duration),
                                          .track = tags.asf.track,
                                          .album_art = tags.asf.has_picture ? 1 : 0,
                                          .compilation = compilation ? 1 : 0,
                                          .size = static_cast<std::int64_t>(tags.size),
                                          .modified = tags.modified});
    if (result == AddResult::failed) log_message(LOG_PROBLEM, LOG_DB, "failed to add wma: %s\n", path.c_str());
}
