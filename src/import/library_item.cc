// A library lists its songs first and its playlists after them. The readers collect the songs by id, packed into one
// string each (SongList), since there may be hundreds of thousands. Then every entry of a playlist looks up its song
// and becomes an item here. A song that is in no playlist never becomes one.
#include "import/library_item.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/bytes.h"
#include "core/file.h"
#include "core/log.h"
#include "core/str.h"
#include "core/text_clean.h"
#include "core/time_text.h"
#include "db/add_item.h"
#include "db/imported_playlists.h"
#include "db/objects.h"

namespace {

constexpr std::array kTexts{&LibrarySong::title,    &LibrarySong::artist, &LibrarySong::album,
                            &LibrarySong::genre,    &LibrarySong::size,   &LibrarySong::total_time,
                            &LibrarySong::modified, &LibrarySong::year,   &LibrarySong::location};
constexpr std::uint32_t kMissing = 0xFFFFFFFF;

void put_number(std::string& out, std::uint32_t value) {
    for (int i = 0; i < 4; ++i, value >>= 8) out.push_back(static_cast<char>(value & 0xFF));
}

std::string pack(const LibrarySong& song) {
    std::string out;
    put_number(out, static_cast<std::uint32_t>(song.bitrate));
    out.push_back(static_cast<char>((song.artwork ? 1 : 0) + (song.compilation ? 2 : 0)));
    for (const auto field : kTexts) {
        const Text& text = song.*field;
        put_number(out, text ? static_cast<std::uint32_t>(text->size()) : kMissing);
        out.append(text_or_empty(text));
    }
    out.shrink_to_fit();
    return out;
}

LibrarySong unpack(std::int32_t id, const std::string& packed) {
    LibrarySong song{.id = id};
    ByteCursor cursor{as_bytes(packed)};
    song.bitrate = static_cast<std::int32_t>(cursor.little_endian(4).value_or(0));
    const std::uint32_t flags = cursor.little_endian(1).value_or(0);
    song.artwork = (flags & 1) != 0;
    song.compilation = (flags & 2) != 0;
    for (const auto field : kTexts) {
        const std::uint32_t length = cursor.little_endian(4).value_or(kMissing);
        if (length != kMissing) song.*field = as_text(cursor.take(length).value_or(Bytes{}));
    }
    return song;
}

// A song without a play time gets no duration.
Text duration_of(const LibrarySong& song) {
    const std::string_view milliseconds = text_or_empty(song.total_time);
    return milliseconds.empty() ? Text{} : Text{format_minutes(text_int64(milliseconds))};
}

NewItem item_of_entry(const LibrarySong& song, const std::string& playlist, std::int32_t position) {
    return {.title = song.title,
            .media_class = ObjectClass::music_track,
            .artist = song.artist,
            .album = song.album,
            .genre = song.genre,
            .playlist = playlist,
            .date = song.year,
            .path = std::string{text_or_empty(song.location)},
            .duration = duration_of(song),
            .track = position,
            .album_art = song.artwork ? 1 : 0,
            .compilation = song.compilation ? 1 : 0,
            .bitrate = song.bitrate,
            .size = text_int64(text_or_empty(song.size)),
            .modified = library_time_key(text_or_empty(song.modified))};
}

}  // namespace

void SongList::add(const LibrarySong& song) {
    packed_.try_emplace(song.id, pack(song));
}

std::optional<LibrarySong> SongList::find(std::int32_t id) const {
    const auto found = packed_.find(id);
    return found == packed_.end() ? std::nullopt : std::optional{unpack(id, found->second)};
}

std::int32_t library_time_key(std::string_view modified) {
    const auto number = [modified](std::size_t at, std::size_t digits) {
        return at < modified.size() ? static_cast<std::uint32_t>(text_int(modified.substr(at, digits))) : 0u;
    };
    // Every month has 31 days, every year 366, and the sum wraps. Lists are ordered by it, nothing more.
    const std::uint32_t days = number(5, 2) * 31u + number(0, 4) * 366u + number(8, 2);
    const std::uint32_t seconds = number(11, 2) * 3600u + number(14, 2) * 60u + number(17, 2);
    return static_cast<std::int32_t>(days * 86400u + seconds + 1812157440u);
}

const std::string& LibraryImport::name_for(const std::string& playlist) {
    std::string name = text_clean(playlist);
    if (name.empty()) name = "Unknown";
    const auto [entry, is_new] = former_.try_emplace(std::move(name));
    if (is_new && former_names_.contains(entry->first)) entry->second = db_begin_playlist(entry->first);
    return entry->first;
}

bool LibraryImport::add(const LibrarySong& song, const std::string& playlist, std::int32_t position) {
    if (!goes_on()) return false;
    NewItem item = item_of_entry(song, name_for(playlist), position);
    const std::string path{text_or_empty(item.path)};
    const auto spelled = resolver_.file_at(path);
    const bool is_file = spelled || !file_status(path);  // a file that does not exist is for the store to report
    if (spelled) item.path = *spelled;
    if (!is_file || db_add_item(item) == AddResult::failed)
        log_message(LOG_INFO, LOG_DB, "failed to add item: %s\n", std::string{text_or_empty(song.title)}.c_str());
    return true;
}

std::vector<std::string> LibraryImport::finish() {
    if (!goes_on()) return {former_names_.begin(), former_names_.end()};
    std::vector<std::string> names;
    for (const auto& [name, former] : former_) {
        db_end_playlist(name, former);
        names.push_back(name);
    }
    for (const std::string& name : former_names_)
        if (!former_.contains(name)) db_end_playlist(name, db_begin_playlist(name));
    return names;
}
