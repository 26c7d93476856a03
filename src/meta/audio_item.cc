#include "meta/audio_item.h"

#include "core/file.h"
#include "core/log.h"
#include "core/time_text.h"
#include "db/add_item.h"
#include "meta/file_window.h"
#include "meta/m4a.h"
#include "meta/pcm_format.h"
#include "meta/tag_text.h"
#include "meta/wav.h"

namespace {

void measure_pcm(AudioTags& tags, const std::string& path) {
    const std::int64_t bytes_per_second = pcm_format_of(path).bytes_per_second();
    const auto size = static_cast<std::int64_t>(tags.size);
    const std::int64_t milliseconds =
        size / bytes_per_second * 1000 + size % bytes_per_second * 1000 / bytes_per_second;
    if (milliseconds <= 0) return;
    tags.duration = format_duration(milliseconds);
    tags.bitrate = static_cast<std::int32_t>(bytes_per_second * 8 / 1000);
}

}  // namespace

AudioTags audio_read_tags(const std::string& path) {
    AudioTags tags;
    const File file = file_open_regular(path);
    const auto status = file ? file.status() : file_status(path);
    if (!status) return tags;
    tags.size = static_cast<std::uint64_t>(status->size);
    tags.modified = static_cast<std::int32_t>(status->modified);
    if (!file) return tags;

    const std::string_view extension = path_extension(path);
    const bool wav = str_equal_nocase(extension, "wav");
    if (!wav && !str_equal_nocase(extension, "m4a")) {
        measure_pcm(tags, path);
        return tags;
    }
    FileWindow window{file, tags.size};
    AudioTags read = wav ? wav_read_tags(window, tag_charset()) : m4a_read_tags(window);
    read.size = tags.size;
    read.modified = tags.modified;
    return read;
}

void audio_add_item(const std::string& path, bool compilation) {
    AudioTags tags = audio_read_tags(path);
    const AddResult result = db_add_item({.title = std::move(tags.title),
                                          .media_class = ObjectClass::music_track,
                                          .artist = std::move(tags.artist),
                                          .album = std::move(tags.album),
                                          .genre = std::move(tags.genre),
                                          .date = std::move(tags.date),
                                          .path = path,
                                          .duration = std::move(tags.duration),
                                          .track = tags.track,
                                          .album_art = tags.has_cover ? 1 : 0,
                                          .compilation = compilation ? 1 : 0,
                                          .bitrate = tags.bitrate,
                                          .size = static_cast<std::int64_t>(tags.size),
                                          .modified = tags.modified});
    if (result == AddResult::failed) log_message(LOG_PROBLEM, LOG_DB, "failed to add audio: %s\n", path.c_str());
    if (result == AddResult::added && tags.bitrate != 0) db_set_bitrate(path, ObjectClass::music_track, tags.bitrate);
}
