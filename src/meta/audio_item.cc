#include "meta/audio_item.h"

#include <taglib/id3v2tag.h>
#include <taglib/infotag.h>
#include <taglib/mp4file.h>
#include <taglib/wavfile.h>

#include "core/file.h"
#include "core/log.h"
#include "core/time_text.h"
#include "db/add_item.h"
#include "meta/pcm_format.h"
#include "meta/taglib_stream.h"

namespace {

// TagLib has no missing texts, only empty ones.
Text text_of(const TagLib::String& text) {
    return text.isEmpty() ? Text{} : Text{text.to8Bit(true)};
}

// Fills what is still missing.
void use_tag(AudioTags& tags, const TagLib::Tag& tag) {
    const auto fill = [](Text& field, const TagLib::String& text) {
        if (!field) field = text_of(text);
    };
    fill(tags.title, tag.title());
    fill(tags.artist, tag.artist());
    fill(tags.album, tag.album());
    fill(tags.genre, tag.genre());
    if (!tags.date && tag.year() > 0) tags.date = text_format(12, "%04d-01-01", static_cast<std::int32_t>(tag.year()));
    if (tags.track == 0) tags.track = static_cast<std::int32_t>(tag.track());
}

void use_properties(AudioTags& tags, const TagLib::AudioProperties* properties) {
    if (properties == nullptr || properties->lengthInMilliseconds() <= 0) return;
    tags.duration = format_duration(properties->lengthInMilliseconds());
    tags.bitrate = properties->bitrate();
}

void read_wav(AudioTags& tags, TagLib::IOStream& stream) {
    const TagLib::RIFF::WAV::File file{&stream};
    if (!file.isValid()) return;
    // An ID3v2 tag in a chunk of its own, a LIST INFO chunk, or both.
    if (file.hasID3v2Tag()) use_tag(tags, *file.ID3v2Tag());
    if (file.hasInfoTag()) use_tag(tags, *file.InfoTag());
    use_properties(tags, file.audioProperties());
    if (file.hasID3v2Tag()) tags.has_cover = file.ID3v2Tag()->frameListMap().contains("APIC");
}

void read_m4a(AudioTags& tags, TagLib::IOStream& stream) {
    const TagLib::MP4::File file{&stream};
    if (!file.isValid()) return;
    if (const auto* const tag = file.tag()) {
        use_tag(tags, *tag);
        tags.has_cover = tag->contains("covr");
    }
    use_properties(tags, file.audioProperties());
}

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
    TagLibStream stream{file, tags.size};
    if (wav)
        read_wav(tags, stream);
    else
        read_m4a(tags, stream);
    return tags;
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
