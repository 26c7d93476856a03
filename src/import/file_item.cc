#include "import/file_item.h"

#include <string>
#include <utility>

#include "core/log.h"
#include "core/text_clean.h"
#include "db/add_item.h"
#include "db/objects.h"
#include "meta/media_facts.h"
#include "meta/media_formats.h"

ObjectClass media_class_of(MediaType type) {
    switch (type) {
        case MediaType::picture:
            return ObjectClass::photo;
        case MediaType::video:
            return ObjectClass::movie;
        case MediaType::music:
            break;
    }
    return ObjectClass::music_track;
}

NewItem file_item(const std::string& path, MediaType type, MediaFacts&& facts) {
    return {.title = std::move(facts.title),
            .media_class = media_class_of(type),
            .artist = std::move(facts.artist),
            .album = std::move(facts.album),
            .genre = std::move(facts.genre),
            .date = std::move(facts.date),
            .path = path,
            .duration = std::move(facts.duration),
            .description = std::move(facts.description),
            .track = facts.track,
            .width = facts.width,
            .height = facts.height,
            .album_art = facts.album_art,
            .bitrate = facts.bitrate,
            .size = facts.size,
            .modified = facts.modified};
}

void add_media_file(const std::string& path, const MediaFormat& format, bool compilation) {
    NewItem item = file_item(path, format.type, format.read(path));
    // A video always has a date, unless the file is gone since the scanner saw it.
    if (format.type == MediaType::video && !item.date) return;
    if (format.type == MediaType::music)
        item.compilation = compilation ? 1 : 0;
    else
        item.title = title_from_path(path);
    if (db_add_item(item) == AddResult::failed)
        log_message(LOG_PROBLEM, LOG_DB, "failed to add %s: %s\n", format.log_name, path.c_str());
}
