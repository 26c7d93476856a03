#include "meta/mp3_item.h"

#include "core/log.h"
#include "db/add_item.h"
#include "meta/mp3.h"

void mp3_add_item(const std::string& path, bool compilation) {
    Mp3Tags tags = mp3_read_tags(path);
    const auto bitrate = static_cast<std::int32_t>(tags.bitrate);
    const AddResult result = db_add_item({.title = std::move(tags.title),
                                          .media_class = ObjectClass::music_track,
                                          .artist = std::move(tags.artist),
                                          .album = std::move(tags.album),
                                          .genre = std::move(tags.genre),
                                          .date = std::move(tags.date),
                                          .path = path,
                                          .duration = std::move(tags.duration),
                                          .track = tags.track,
                                          .album_art = static_cast<std::int32_t>(tags.picture_offset),
                                          .compilation = compilation ? 1 : 0,
                                          .bitrate = bitrate,
                                          .size = static_cast<std::int64_t>(tags.size),
                                          .modified = tags.modified});
    if (result == AddResult::failed) log_message(LOG_PROBLEM, LOG_DB, "failed to add mp3: %s\n", path.c_str());
    if (result == AddResult::added && bitrate != 0) db_set_bitrate(path, ObjectClass::music_track, bitrate);
}
