#include "meta/wav.h"

#include <algorithm>
#include <string>
#include <utility>

#include "core/bytes.h"
#include "core/time_text.h"
#include "meta/genres.h"
#include "meta/id3.h"
#include "meta/riff.h"

namespace {

constexpr std::uint64_t kLongestText = 1024;  // longer ones are no titles

std::string copy_of(FileWindow& file, std::uint64_t at, std::uint64_t size) {
    std::string copy;
    while (copy.size() < size) {
        const Bytes here = file.at(at + copy.size(), static_cast<std::size_t>(size - copy.size()));
        if (here.empty()) break;
        copy.append(as_text(here));
    }
    return copy;
}

void set_year(Text& date, const Text& year) {
    if (year && text_int(*year) > 0) date = text_format(12, "%04d-01-01", text_int(*year));
}

AudioTags read_id3(FileWindow& file, const RiffChunk& chunk, TagCharset charset) {
    // The tag's positions count from its start, so it gets a file of its own.
    const std::string tag_bytes = copy_of(file, chunk.begin, std::min(chunk.size, kTagLimit));
    FileWindow tag_file{as_bytes(tag_bytes)};
    Id3v2Tag tag = id3_read_v2(tag_file, charset);
    AudioTags tags{.title = std::move(tag.title),
                   .artist = std::move(tag.artist),
                   .album = std::move(tag.album),
                   .genre = id3_resolved_genre(std::move(tag.genre)),
                   .date = {},
                   .duration = {},
                   .track = tag.track,
                   .has_cover = tag.picture_offset != 0};
    set_year(tags.date, tag.year);
    return tags;
}

AudioTags read_info(FileWindow& file, const RiffChunk& list) {
    AudioTags tags;
    Text year;
    RiffWalk walk{file, list};
    while (const auto chunk = walk.next()) {
        Text* const field = chunk->id == "INAM"   ? &tags.title
                            : chunk->id == "IART" ? &tags.artist
                            : chunk->id == "IPRD" ? &tags.album
                            : chunk->id == "IGNR" ? &tags.genre
                            : chunk->id == "ICRD" ? &year
                                                  : nullptr;
        const bool track = chunk->id == "IPRT" || chunk->id == "ITRK";
        if ((field == nullptr && !track) || chunk->size > kLongestText) continue;
        const std::string_view bytes = as_text(file.at(chunk->begin, static_cast<std::size_t>(chunk->size)));
        const std::string_view text = str_trim_right(bytes.substr(0, bytes.find('\0')));
        if (track)
            tags.track = text_int(text);
        else if (!text.empty())
            *field = std::string{text};
    }
    set_year(tags.date, year);
    return tags;
}

// Fills what is still missing.
void fill(AudioTags& tags, AudioTags&& others) {
    for (Text AudioTags::*const field :
         {&AudioTags::title, &AudioTags::artist, &AudioTags::album, &AudioTags::genre, &AudioTags::date})
        if (!has_text(tags.*field)) tags.*field = std::move(others.*field);
    if (tags.track == 0) tags.track = others.track;
    tags.has_cover |= others.has_cover;
}

// Average bytes a second, by the format chunk (WAVEFORMATEX); 0: unknown.
std::uint32_t byte_rate(FileWindow& file, const RiffChunk& format) {
    constexpr std::size_t kRateAt = 8;
    ByteCursor cursor{file.at(format.begin, static_cast<std::size_t>(std::min<std::uint64_t>(format.size, 16)))};
    return cursor.skip(kRateAt) ? cursor.little_endian(4).value_or(0) : 0;
}

}  // namespace

AudioTags wav_read_tags(FileWindow& file, TagCharset charset) {
    AudioTags id3, info;
    std::uint64_t rate = 0, sound_bytes = 0;
    bool has_id3 = false, has_info = false;
    RiffWalk walk{file};
    while (const auto chunk = walk.next()) {
        if (riff_is_id3(*chunk) && !std::exchange(has_id3, true)) {
            id3 = read_id3(file, *chunk, charset);
        } else if (chunk->id == "LIST" && !has_info) {
            has_info = as_text(file.at(chunk->begin, 4)) == "INFO";
            if (has_info) info = read_info(file, *chunk);
        } else if (chunk->id == "fmt " && rate == 0) {
            rate = byte_rate(file, *chunk);
        } else if (chunk->id == "data" && sound_bytes == 0) {
            sound_bytes = chunk->size;
        }
    }
    fill(id3, std::move(info));
    const std::uint64_t milliseconds = rate == 0 ? 0 : (sound_bytes * 1000 + rate / 2) / rate;
    if (milliseconds > 0) {
        id3.duration = format_duration(static_cast<std::int64_t>(milliseconds));
        id3.bitrate = static_cast<std::int32_t>((rate * 8 + 500) / 1000);
    }
    return id3;
}
