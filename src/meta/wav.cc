#include "meta/wav.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "core/bytes.h"
#include "core/file.h"
#include "core/str.h"
#include "core/time_text.h"
#include "meta/embedded_picture.h"
#include "meta/file_window.h"
#include "meta/genres.h"
#include "meta/id3.h"
#include "meta/media_facts.h"
#include "meta/riff.h"
#include "meta/tag_text.h"

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
    if (year && text_int(*year) > 0) date = date_of_year(text_int(*year));
}

MediaFacts read_id3(FileWindow& file, const RiffChunk& chunk, TagCharset charset) {
    // The tag's positions count from its start, so it gets a file of its own.
    const std::string tag_bytes = copy_of(file, chunk.begin, std::min(chunk.size, kTagLimit));
    FileWindow tag_file{as_bytes(tag_bytes)};
    Id3v2Tag tag = id3_read_v2(tag_file, charset, Id3v24Sizes::syncsafe);
    MediaFacts tags{.title = std::move(tag.title),
                    .artist = std::move(tag.artist),
                    .album = std::move(tag.album),
                    .genre = id3_resolved_genre(std::move(tag.genre)),
                    .track = tag.track,
                    .album_art = tag.picture_offset != 0 ? 1 : 0};
    set_year(tags.date, tag.year);
    return tags;
}

MediaFacts read_info(FileWindow& file, const RiffChunk& list) {
    MediaFacts tags;
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

// Fills in what is still missing.
void fill(MediaFacts& tags, MediaFacts&& others) {
    for (Text MediaFacts::*const field :
         {&MediaFacts::title, &MediaFacts::artist, &MediaFacts::album, &MediaFacts::genre, &MediaFacts::date})
        if (!has_text(tags.*field)) tags.*field = std::move(others.*field);
    if (tags.track == 0) tags.track = others.track;
    tags.album_art |= others.album_art;
}

struct Sound {
    std::uint64_t tag = 0, sample_rate = 0, byte_rate = 0;  // of the format chunk (WAVEFORMATEX); 0: unknown
    std::uint64_t samples = 0;                              // of one channel, by the fact chunk
    std::uint64_t bytes = 0;
};

void read_format(Sound& sound, FileWindow& file, const RiffChunk& format) {
    ByteCursor cursor{file.at(format.begin, static_cast<std::size_t>(std::min<std::uint64_t>(format.size, 16)))};
    sound.tag = cursor.little_endian(2).value_or(0);
    cursor.skip(2);
    sound.sample_rate = cursor.little_endian(4).value_or(0);
    sound.byte_rate = cursor.little_endian(4).value_or(0);
}

// The byte rate of compressed sound is only an estimate, so the count of samples is used there.
std::uint64_t milliseconds_of(const Sound& sound) {
    constexpr std::uint64_t kPcm = 1, kFloat = 3, kExtensible = 0xFFFE;
    const bool plain = sound.tag == kPcm || sound.tag == kFloat || sound.tag == kExtensible;
    const bool counted = !plain && sound.samples > 0 && sound.sample_rate > 0;
    const std::uint64_t amount = counted ? sound.samples : sound.bytes;
    const std::uint64_t rate = counted ? sound.sample_rate : sound.byte_rate;
    return rate == 0 ? 0 : (amount * 1000 + rate / 2) / rate;
}

}  // namespace

MediaFacts wav_read_tags(FileWindow& file, TagCharset charset) {
    MediaFacts id3, info;
    Sound sound;
    bool has_id3 = false, has_info = false;
    RiffWalk walk{file};
    while (const auto chunk = walk.next()) {
        if (riff_is_id3(*chunk) && !std::exchange(has_id3, true)) {
            id3 = read_id3(file, *chunk, charset);
        } else if (chunk->id == "LIST" && !has_info) {
            has_info = as_text(file.at(chunk->begin, 4)) == "INFO";
            if (has_info) info = read_info(file, *chunk);
        } else if (chunk->id == "fmt " && sound.tag == 0) {
            read_format(sound, file, *chunk);
        } else if (chunk->id == "fact" && sound.samples == 0) {
            sound.samples = ByteCursor{file.at(chunk->begin, 4)}.little_endian(4).value_or(0);
        } else if (chunk->id == "data" && sound.bytes == 0) {
            sound.bytes = chunk->size;
        }
    }
    fill(id3, std::move(info));
    const std::uint64_t milliseconds = milliseconds_of(sound);
    if (sound.bytes > 0 && milliseconds > 0) {
        id3.duration = format_duration(static_cast<std::int64_t>(milliseconds));
        const std::uint64_t kilobits = (sound.bytes * 8 + milliseconds / 2) / milliseconds;
        id3.bitrate = static_cast<std::int32_t>(std::min<std::uint64_t>(kilobits, 1'000'000));
    }
    return id3;
}

MediaFacts wav_read_tags(const std::string& path) {
    return media_facts_of_file(path, [](const File& file, std::uint64_t size) {
        FileWindow window{file, size};
        return wav_read_tags(window, tag_charset());
    });
}

std::optional<EmbeddedPicture> wav_find_picture(FileWindow& file) {
    const auto id3 = riff_find_id3(file);
    return id3 ? id3_find_picture(file, *id3, Id3v24Sizes::syncsafe) : std::nullopt;
}
