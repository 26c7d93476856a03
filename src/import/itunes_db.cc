// How the file is built. It is a row of records, little-endian; each begins with a tag of four letters, the length of
// its header, and a total length or a count of children:
//
//     mhbd or mhdb                       the database
//       mhsd                             a data set: the songs, or the playlists
//         mhlt  count                    the list of songs
//           mhit  id, children           a song
//             mhod  type, text           its title, artist, ..., location
//         mhlp  count                    the list of playlists
//           mhyp  objects, entries       a playlist, the first of which is the whole library
//             mhod  type, text           its name, or rules that are passed over
//             mhip  song id              an entry
//
// Nothing of that nesting is held in memory. The reader goes forward only: read_record() steps over the headers of the
// outer records, so that their children come next, and reads a list of songs or a playlist with everything below it.
// Songs are kept by id; a playlist's entries are handed on as they come. Any record that is not what must stand there
// ends the reading with a message. Every length is checked against what was already read of the record (rest_of).
#include "import/itunes_db.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/bytes.h"
#include "core/file.h"
#include "core/str.h"
#include "core/thread.h"
#include "import/library_item.h"
#include "meta/file_window.h"
#include "meta/tag_text.h"

namespace {

constexpr std::size_t kCommonBytes = 12;  // tag, header length, total length or count
constexpr std::size_t kBodyBytes = 20;    // the next bytes of data objects, playlists and entries
constexpr std::uint32_t kFixedBytes = kCommonBytes + kBodyBytes;
constexpr std::uint32_t kSongBytes = 156;
constexpr std::uint32_t kLargestHeader = 1'048'576;
constexpr std::uint32_t kLongestText = 1'048'576;
constexpr std::string_view kMusicMark = ":Music:";

// A tag as a 32-bit little-endian word.
constexpr std::uint32_t tag(const char (&letters)[5]) {
    std::uint32_t word = 0;
    for (int i = 3; i >= 0; --i) word = word << 8 | static_cast<unsigned char>(letters[i]);
    return word;
}

enum Tag : std::uint32_t {
    kDatabase = tag("mhdb"),
    kDatabaseOfDevices = tag("mhbd"),  // the same as devices write it
    kDataSet = tag("mhsd"),
    kSongs = tag("mhlt"),
    kSong = tag("mhit"),
    kData = tag("mhod"),
    kPlaylists = tag("mhlp"),
    kPlaylist = tag("mhyp"),
    kEntry = tag("mhip"),
};

enum SongData : std::uint32_t { kTitle = 1, kLocation = 2, kAlbum = 3, kArtist = 4, kGenre = 5, kSongOpaque = 100 };
enum PlaylistData : std::uint32_t { kName = 1, kSmartData = 51, kSmartRules = 52, kPlaylistOpaque = 100 };

struct Common {
    std::uint32_t tag = 0, header_length = 0, total = 0;
};
// What we use of a data object: its common part and the 20 bytes after it.
struct DataObject {
    std::uint32_t total = 0, type = 0, text_length = 0;
};

// The caller has made sure that the number is there.
std::uint32_t u32(Bytes bytes, std::size_t at) {
    return ByteCursor{bytes.subspan(at)}.little_endian(4).value_or(0);
}

// How much is left of a length when this much was read already; a length that is too small leaves nothing.
std::uint32_t rest_of(std::uint32_t length, std::uint32_t read) {
    return length > read ? length - read : 0;
}

class DatabaseReader {
public:
    DatabaseReader(FileWindow& file, const std::string& mount_path, TagCharset charset, const LibraryEntrySink& sink,
                   const RunningFlag* running)
        : file_(file), mount_path_(mount_path), charset_(charset), sink_(sink), running_(running) {}

    std::string read_all() {
        while (read_record()) {
        }
        return std::move(error_);
    }

private:
    // ---- bytes

    std::optional<Bytes> take(std::size_t n) {
        errno = 0;  // messages name the system's error, and an end of file is none
        const Bytes bytes = file_.at(position_, n);
        if (bytes.size() < n) return std::nullopt;
        position_ += n;
        return bytes;
    }
    void skip(std::uint32_t n) { position_ += n; }

    std::optional<Common> take_common() {
        const auto bytes = take(kCommonBytes);
        if (!bytes) return std::nullopt;
        return Common{.tag = u32(*bytes, 0), .header_length = u32(*bytes, 4), .total = u32(*bytes, 8)};
    }

    std::optional<DataObject> take_data(const Common& common) {
        const auto body = take(kBodyBytes);
        if (!body) return std::nullopt;
        return DataObject{.total = common.total, .type = u32(*body, 0), .text_length = u32(*body, 16)};
    }

    // The text is the last part of its object.
    std::optional<std::string> take_text(const DataObject& object) {
        const std::uint32_t body = rest_of(object.total, kFixedBytes);
        if (object.text_length > body || object.text_length > kLongestText) return std::nullopt;
        skip(body - object.text_length);
        std::vector<std::byte> units;  // grows with what is there, not with what is announced
        while (units.size() < object.text_length) {
            const Bytes piece = file_.from(position_);
            if (piece.empty()) return std::nullopt;
            const std::size_t n = std::min<std::size_t>(piece.size(), object.text_length - units.size());
            units.insert(units.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(n));
            position_ += n;
        }
        return utf16_narrow_text(units, charset_);
    }

    // ---- errors: they end the reading. The functions below return false to say so.

    bool fail(std::string message) {
        error_ = std::move(message);
        return false;
    }
    bool fail_number(const char* what, std::uint32_t number) {
        return fail(std::string{what}.append(std::to_string(static_cast<std::int32_t>(number))).append("\n"));
    }
    bool fail_reading(const char* what) { return fail(std::string{what}.append(error_text()).append("\n")); }

    // ---- records

    bool stopped() const { return running_ != nullptr && !running_->running(); }

    bool read_record() {
        if (stopped()) return false;
        const auto common = take_common();
        if (!common) {
            // A record that is cut by the end of the file is an end like any other.
            if (file_.at(position_, kCommonBytes).size() + position_ >= file_.size()) return false;
            return fail_reading("error: reading itunesdb_record: ");
        }
        switch (common->tag) {
            case kDatabase:
            case kDatabaseOfDevices:
            case kDataSet:
            case kSongs:
            case kSong:
            case kData:
            case kPlaylists:
            case kPlaylist:
            case kEntry:
                break;
            default:
                return fail_unknown(common->tag);
        }
        if (common->header_length > kLargestHeader) return fail_size(common->header_length);
        if (common->tag == kSongs) return read_songs(*common);
        if (common->tag == kPlaylist) return read_playlist(*common);
        skip(rest_of(common->header_length, kCommonBytes));
        return true;
    }

    bool fail_size(std::uint32_t length) { return fail_number("error: record size too large: ", length); }

    bool fail_unknown(std::uint32_t unknown) {
        std::string message = text_format(64, "error: unknown record type: %08x, ", unknown);
        for (int shift = 0; shift < 32; shift += 8) message.push_back(static_cast<char>(unknown >> shift & 0xFF));
        return fail(message + '\n');
    }

    // ---- songs

    bool read_songs(const Common& list) {
        skip(rest_of(list.header_length, kCommonBytes));
        for (std::uint32_t i = 0; i < list.total; ++i)
            if (!read_song()) return false;
        return true;
    }

    bool read_song() {
        if (stopped()) return false;
        const auto common = take_common();
        if (!common) return fail_reading("error: reading song header: ");
        if (common->tag != kSong) return fail_number("error: invalid song header type: ", common->tag);
        if (common->header_length != kSongBytes) return fail("error: song size to small\n");
        const auto body = take(kSongBytes - kCommonBytes);
        if (!body) return fail_reading("error: reading song body: ");
        const std::uint32_t children = u32(*body, 12 - kCommonBytes);
        LibrarySong song{.id = static_cast<std::int32_t>(u32(*body, 16 - kCommonBytes))};
        if (!read_song_children(song, children)) return false;
        songs_.add(song);
        return true;
    }

    bool read_song_children(LibrarySong& song, std::uint32_t children) {
        for (std::uint32_t i = 0; i < children; ++i) {
            const auto common = take_common();
            if (!common) return fail_reading("error: reading song header: ");
            if (common->tag != kData) return fail_number("error: invalid info header type: ", common->tag);
            const auto object = take_data(*common);
            if (!object) return fail("error: reading mhod failed\n");
            if (object->type == kSongOpaque) {
                skip(rest_of(object->total, kFixedBytes));
                continue;
            }
            auto text = take_text(*object);
            if (!text) return fail("error: reading mhod failed\n");
            if (object->type == kLocation) {
                // Kept on purpose: a song's location is its last object, whatever its header announces. In a database
                // with objects after it the reading fails at the next song.
                song.location = local_path(std::move(*text));
                return true;
            }
            if (Text* const field = field_of(song, object->type)) *field = std::move(*text);
        }
        return true;
    }

    static Text* field_of(LibrarySong& song, std::uint32_t type) {
        switch (type) {
            case kTitle:
                return &song.title;
            case kAlbum:
                return &song.album;
            case kArtist:
                return &song.artist;
            case kGenre:
                return &song.genre;
            default:
                return nullptr;
        }
    }

    // ":iPod_Control:Music:F00:ABCD.mp3" lies at F00/ABCD.mp3 below the mount path. The first location that contains
    // the mark tells where the folder begins; we use that offset for all that follow.
    std::string local_path(std::string location) {
        if (!folder_at_) {
            const std::size_t mark = location.find(kMusicMark);
            if (mark != std::string::npos) folder_at_ = mark + kMusicMark.size();
        }
        if (!folder_at_) return location;
        std::string below = location.substr(std::min(*folder_at_, location.size()));
        std::ranges::replace(below, ':', '/');
        return mount_path_ + below;
    }

    // ---- playlists

    bool read_playlist(const Common& playlist) {
        const auto body = take(kBodyBytes);
        if (!body) return fail_reading("error: reading itunesdb_record: ");
        const std::uint32_t objects = u32(*body, 12 - kCommonBytes);
        const std::uint32_t entries = u32(*body, 16 - kCommonBytes);
        skip(rest_of(playlist.header_length, kFixedBytes));
        for (std::uint32_t i = 0; i < objects; ++i)
            if (!read_playlist_data()) return false;
        for (std::uint32_t i = 0; i < entries; ++i)
            if (!read_entry()) return false;
        return true;
    }

    bool read_playlist_data() {
        const auto common = take_common();
        if (!common) return fail_reading("error: reading info header: ");
        const auto object = take_data(*common);
        if (!object) return fail_reading("error: reading info body: ");
        if (object->type == kPlaylistOpaque || object->type == kSmartData || object->type == kSmartRules) {
            skip(rest_of(object->total, kFixedBytes));
            return true;
        }
        auto text = take_text(*object);
        if (!text) return fail("error: reading mhod failed\n");
        if (object->type == kName) {
            playlist_name_ = std::move(*text);
            ++playlist_count_;
            next_position_ = 1;
        }
        return true;
    }

    bool read_entry() {
        if (stopped()) return false;
        const auto common = take_common();
        if (!common) return fail_reading("error: reading pl song header: ");
        if (common->tag != kEntry) return fail_number("error: invalid pl song header type: ", common->tag);
        const auto body = take(kBodyBytes);
        if (!body) return fail_reading("error: reading pl song body: ");
        const auto id = static_cast<std::int32_t>(u32(*body, 24 - kCommonBytes));
        if (common->header_length > kLargestHeader) return fail_size(common->header_length);
        skip(rest_of(common->header_length, kFixedBytes));
        if (playlist_count_ < 2) return true;  // the first is the whole library
        const auto song = songs_.find(id);
        return !song || sink_(*song, playlist_name_, next_position_++);
    }

    FileWindow& file_;
    const std::string& mount_path_;
    const TagCharset charset_;
    const LibraryEntrySink& sink_;
    const RunningFlag* running_;
    std::uint64_t position_ = 0;
    std::string error_;

    SongList songs_;
    std::optional<std::size_t> folder_at_;  // where a location's folder begins
    std::string playlist_name_;
    int playlist_count_ = 0;
    std::int32_t next_position_ = 1;
};

}  // namespace

std::string itunesdb_read(FileWindow& file, const std::string& mount_path, TagCharset charset,
                          const LibraryEntrySink& sink, const RunningFlag* running) {
    return DatabaseReader{file, mount_path, charset, sink, running}.read_all();
}

std::string itunesdb_mount_path(const std::string& path) {
    const std::size_t file = path.rfind('/');
    const std::size_t folder = file == std::string::npos || file == 0 ? std::string::npos : path.rfind('/', file - 1);
    return folder == std::string::npos ? "Music/" : path.substr(0, folder + 1) + "Music/";
}

std::vector<std::string> itunesdb_import(const std::string& path, const std::vector<std::string>& former_names,
                                         const RunningFlag* running) {
    const File file = file_open_regular(path);
    const auto status = file ? file.status() : std::nullopt;
    if (!status) return former_names;
    LibraryImport import{former_names, running};
    FileWindow window{file, static_cast<std::uint64_t>(status->size)};
    const std::string error = itunesdb_read(
        window, itunesdb_mount_path(path), tag_charset(),
        [&](const LibrarySong& song, const std::string& playlist, std::int32_t position) {
            return import.add(song, playlist, position);
        },
        running);
    std::fwrite(error.data(), 1, error.size(), stderr);
    return import.finish();
}
