#include "meta/audio_tags.h"

#include "core/log.h"

AudioTags audio_tags_of_file(const std::string& path,
                             const std::function<AudioTags(const File& file, std::uint64_t size)>& read) {
    const File file = file_open_regular(path);
    const auto status = file ? file.status() : file_status(path);
    if (!status) return {};
    AudioTags tags = file ? read(file, static_cast<std::uint64_t>(status->size)) : AudioTags{};
    tags.size = status->size;
    tags.modified = status->modified_32();
    return tags;
}

NewItem audio_tags_item(const std::string& path, AudioTags&& tags) {
    return {.title = std::move(tags.title),
            .media_class = ObjectClass::music_track,
            .artist = std::move(tags.artist),
            .album = std::move(tags.album),
            .genre = std::move(tags.genre),
            .date = std::move(tags.date),
            .path = path,
            .duration = std::move(tags.duration),
            .track = tags.track,
            .album_art = tags.album_art,
            .bitrate = tags.bitrate,
            .size = tags.size,
            .modified = tags.modified};
}

void audio_tags_add(const std::string& path, AudioTags&& tags, bool compilation, const char* kind) {
    NewItem item = audio_tags_item(path, std::move(tags));
    item.compilation = compilation ? 1 : 0;
    const AddResult result = db_add_item(item);
    if (result == AddResult::failed) log_message(LOG_PROBLEM, LOG_DB, "failed to add %s: %s\n", kind, path.c_str());
    if (result == AddResult::added && item.bitrate != 0) db_set_bitrate(path, ObjectClass::music_track, item.bitrate);
}
