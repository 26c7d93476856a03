// Songs of a music library (an iTunes library file or an iPod's database) and how they become items, one for each entry
// of a playlist. The readers of library files fill a SongList and hand entries to a sink; they know nothing of the
// store.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/str.h"
#include "core/thread.h"
#include "db/objects.h"
#include "import/playlist_entry.h"

struct LibrarySong {
    std::int32_t id = 0;
    Text title = {}, artist = {}, album = {}, genre = {};
    Text size = {};        // decimal, bytes
    Text total_time = {};  // decimal, milliseconds
    Text modified = {};    // "2004-05-01T12:00:00Z"
    Text year = {};
    Text location = {};        // a path
    std::int32_t bitrate = 0;  // kilobits per second; 0: unknown
    bool artwork = false;
    bool compilation = false;
};

// The songs of a library by id, packed: a library of 100 MB has some hundred thousand.
class SongList {
public:
    // If two songs have the same id, the first counts.
    void add(const LibrarySong& song);
    std::optional<LibrarySong> find(std::int32_t id) const;
    std::size_t size() const { return packed_.size(); }

private:
    std::unordered_map<std::int32_t, std::string> packed_;
};

// Called for each entry of a playlist in order; positions count from 1. False ends the reading.
using LibraryEntrySink =
    std::function<bool(const LibrarySong& song, const std::string& playlist, std::int32_t position)>;

// The time that a song's item gets: an ordering key, not a calendar.
std::int32_t library_time_key(std::string_view modified);

// One reading of a library. It replaces the playlists of the last reading; those that are gone lose their entries.
class LibraryImport {
public:
    LibraryImport(const std::vector<std::string>& former_names, const RunningFlag* running)
        : former_names_(former_names.begin(), former_names.end()), resolver_({}), running_(running) {}

    // A LibraryEntrySink. Returns false once the flag (null: none) has stopped running.
    bool add(const LibrarySong& song, const std::string& playlist, std::int32_t position);
    // Returns the names of the playlists that were read; the former names if the flag ended the reading.
    std::vector<std::string> finish();

private:
    const std::string& name_for(const std::string& playlist);
    bool goes_on() const { return running_ == nullptr || running_->running(); }

    std::set<std::string> former_names_;
    const EntryResolver resolver_;
    const RunningFlag* running_;
    std::map<std::string, std::vector<ObjectId>, std::less<>> former_;  // what the playlists read so far held before
};
