#include "meta/mp3.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "core/file.h"
#include "core/str.h"
#include "core/time_text.h"
#include "meta/embedded_picture.h"
#include "meta/file_window.h"
#include "meta/genres.h"
#include "meta/id3.h"
#include "meta/media_facts.h"
#include "meta/mpeg_frame.h"
#include "meta/tag_text.h"

namespace {

constexpr std::int32_t kLastUnlikelyYear = 1900;  // years of ID3v1 tags up to here are leftovers, not years

void use_id3v2(MediaFacts& tags, Id3v2Tag&& tag) {
    tags.title = std::move(tag.title);
    tags.artist = std::move(tag.artist);
    tags.album = std::move(tag.album);
    tags.genre = id3_resolved_genre(std::move(tag.genre));
    if (tag.year) tags.date = date_of_year(text_int(*tag.year));
    tags.track = tag.track;
    tags.album_art = static_cast<std::int32_t>(tag.picture_offset);
}

// ID3v1 fills what ID3v2 left missing. Only the title is also filled if it is there but empty.
void fill_from_id3v1(MediaFacts& tags, Id3v1Tag&& tag, bool genre_known) {
    if (!has_text(tags.title)) tags.title = std::move(tag.title);
    if (!tags.artist) tags.artist = std::move(tag.artist);
    if (!tags.album) tags.album = std::move(tag.album);
    if (!genre_known) tags.genre = id3_genre_name(tag.genre);
    if (!tags.date && tag.year > kLastUnlikelyYear) tags.date = date_of_year(tag.year);
    if (tags.track == 0) tags.track = tag.track;
}

void use_frame(MediaFacts& tags, const MpegFrame& frame) {
    if (frame.milliseconds <= 0) return;
    tags.bitrate = frame.vbr ? 0 : static_cast<std::int32_t>(frame.kbps);
    tags.duration = format_duration(frame.milliseconds);
}

}  // namespace

MediaFacts mp3_read_tags(const std::string& path) {
    return media_facts_of_file(path, [](const File& file, std::uint64_t size) {
        MediaFacts tags;
        FileWindow window{file, size};
        Id3v2Tag id3v2 = id3_read_v2(window, tag_charset());
        const bool genre_known = id3v2.genre.has_value();
        const std::uint64_t audio_start = id3v2.end;
        use_id3v2(tags, std::move(id3v2));
        use_frame(tags, mpeg_read_first_frame(window, audio_start));
        if (size >= kId3v1Bytes) {
            auto id3v1 = id3_read_v1(window.at(size - kId3v1Bytes, kId3v1Bytes));
            if (id3v1) fill_from_id3v1(tags, std::move(*id3v1), genre_known);
        }
        return tags;
    });
}

std::optional<EmbeddedPicture> mp3_find_picture(FileWindow& file) {
    return id3_find_picture(file, 0, Id3v24Sizes::plain);
}
