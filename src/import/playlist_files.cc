// An import has two halves. While the file is read, Import::add resolves each entry and collects it; the store is not
// touched. Import::finish then gives the entries to the store in one go: it empties the playlist (db_begin_playlist),
// adds every entry with the playlist's name, and releases the former members that did not come back (db_end_playlist).
// If the playlist holds exactly these entries already, it is left alone, so that ids stay.
#include "import/playlist_files.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "core/file.h"
#include "core/log.h"
#include "core/process_wide.h"
#include "core/settings.h"
#include "core/settings_table.h"
#include "core/str.h"
#include "core/text_clean.h"
#include "core/thread.h"
#include "db/add_item.h"
#include "db/imported_playlists.h"
#include "db/objects.h"
#include "import/file_item.h"
#include "import/playlist_entry.h"
#include "import/playlist_text.h"
#include "meta/file_window.h"
#include "meta/media_formats.h"
#include "meta/mp3.h"

namespace {

constexpr int kMostEntries = 100'000;
constexpr std::int64_t kMebibyte = 1024 * 1024;
constexpr std::int64_t kLargestXml = 4 * kMebibyte;     // parsed it takes many times that
constexpr std::int64_t kLargestLines = 64 * kMebibyte;  // kMostEntries titles and paths take a third of that

using Paths = std::unordered_set<std::string>;

// The playlists that came from files. A row goes with its file.
struct ImportedFiles {
    std::mutex mutex;
    std::map<std::string, std::string> names;  // by path
    // The entries that the store refused at the last reading; mostly none.
    std::map<std::string, Paths> refused;
};
ImportedFiles& imported() {
    return process_wide<ImportedFiles>();
}

enum class Refusal { with_title, path_alone };

// An entry that was found.
struct FoundEntry {
    ResolvedEntry place;
    std::shared_ptr<const std::string> title;  // the playlist's name for it, used if the file has no tag
};

// Without a file name ("http://host:8000/") the URL itself has to do.
std::string title_of(const FoundEntry& entry) {
    if (!entry.title->empty()) return *entry.title;
    std::string name = title_from_path(entry.place.path);
    return name.empty() ? entry.place.path : name;
}

// Any file that the scanner has not added is read as an MP3 file, whatever its extension.
NewItem item_of_file(const std::string& path) {
    constexpr std::int32_t kOlderThanAnything = std::numeric_limits<std::int32_t>::min();
    // An item that the store has joins the playlist as it is, so its tags need not be read again.
    if (!db_is_newer_on_disk(path, ObjectClass::music_track, kOlderThanAnything)) return {.path = path};
    return file_item(path, MediaType::music, mp3_read_tags(path));
}

NewItem item_of(const FoundEntry& entry) {
    NewItem item = entry.place.url ? NewItem{.media_class = ObjectClass::audio_broadcast, .path = entry.place.path}
                                   : item_of_file(entry.place.path);
    if (!has_text(item.title)) item.title = title_of(entry);
    return item;
}

class Import {
public:
    Import(const std::string& path, std::string_view name, Refusal refusal, const RunningFlag* running)
        : path_(path),
          running_(running),
          resolver_(path),
          name_(name.empty() ? title_from_path(path) : text_clean(name)),
          refusal_(refusal) {
        if (name_.empty()) name_ = "Unknown";
        std::scoped_lock lock{imported().mutex};
        imported().names[path_] = name_;
    }

    // A PlaylistEntrySink.
    bool add(std::string_view entry, std::string_view title) {
        if (!goes_on()) return false;
        if (seen_++ == kMostEntries) {
            log_message(LOG_PROBLEM, LOG_DB, "only the first %d entries of playlist %s are read\n", kMostEntries,
                        path_.c_str());
            return false;
        }
        auto place = resolver_.resolve(entry);
        if (!place) {
            log_message(LOG_PROBLEM, LOG_DB, "failed to locate/add playlist item: %s\n", std::string{entry}.c_str());
            return true;
        }
        // An item appears in a playlist once, at its first position.
        if (known_.contains(place->path)) return true;
        // Entries that carry the same title share one copy of it.
        if (*title_ != title) title_ = std::make_shared<const std::string>(title);
        entries_.push_back({.place = std::move(*place), .title = title_});
        known_.insert(entries_.back().place.path);
        return true;
    }

    // A playlist that would not change is left alone, so that clients that play it can go on with the ids they know.
    void finish() const {
        if (!goes_on()) return;
        // A scan reads playlists after all other files, so most files that they name are in the store by now.
        for (const FoundEntry& entry : entries_)
            if (!entry.title->empty()) db_title_by_playlist(entry.place.path, *entry.title);
        const bool shuffled = settings_get_bool(Setting::randomizeplaylists);
        if (!shuffled && stands_already()) return;
        // Not rand(): shuffled listings seed its sequence for a client and continue it.
        std::minstd_rand random{std::random_device{}()};
        const std::vector<ObjectId> former = db_begin_playlist(name_);
        Paths refused;
        std::int32_t position = 1;
        for (const FoundEntry& entry : entries_) {
            if (!goes_on()) return;
            if (add_item(entry, shuffled ? static_cast<std::int32_t>(random()) : position))
                ++position;
            else
                refused.insert(entry.place.path);
        }
        db_end_playlist(name_, former);
        std::scoped_lock lock{imported().mutex};
        if (refused.empty())
            imported().refused.erase(path_);
        else
            imported().refused[path_] = std::move(refused);
    }

private:
    bool goes_on() const { return running_ == nullptr || running_->running(); }

    // Entries that were refused take no position, but are offered to the store again.
    bool stands_already() const {
        const Paths refused = refused_before();
        std::vector<PlaylistEntry> entries;
        std::vector<const FoundEntry*> left_out;
        for (const FoundEntry& entry : entries_) {
            if (refused.contains(entry.place.path))
                left_out.push_back(&entry);
            else
                entries.push_back(
                    {.path = entry.place.path, .sort_key = static_cast<std::int32_t>(entries.size()) + 1});
        }
        return db_playlist_holds(name_, entries) &&
               std::ranges::none_of(left_out, [this](const FoundEntry* entry) { return add_item(*entry, 0); });
    }

    Paths refused_before() const {
        std::scoped_lock lock{imported().mutex};
        const auto found = imported().refused.find(path_);
        return found == imported().refused.end() ? Paths{} : found->second;
    }

    // False if the store refuses it.
    bool add_item(const FoundEntry& entry, std::int32_t track) const {
        NewItem item = item_of(entry);
        item.playlist = name_;
        item.track = track;
        if (db_add_item(item) != AddResult::failed) return true;
        const char* const path = entry.place.path.c_str();
        if (refusal_ == Refusal::with_title)
            log_message(LOG_PROBLEM, LOG_DB, "failed to add plylist item: %s, %s\n",
                        std::string{text_or_empty(item.title)}.c_str(), path);
        else
            log_message(LOG_PROBLEM, LOG_DB, "failed to add item: %s\n", path);
        return false;
    }

    const std::string& path_;
    const RunningFlag* running_;
    const EntryResolver resolver_;
    std::string name_;
    const Refusal refusal_;
    std::deque<FoundEntry> entries_;
    std::unordered_set<std::string_view> known_;  // their paths
    std::shared_ptr<const std::string> title_ = std::make_shared<const std::string>();
    int seen_ = 0;
};

using LineFormat = void (*)(FileWindow& file, const PlaylistEntrySink& sink);

// How much of a playlist file we read: of an unreasonably large one only the start.
std::int64_t bytes_to_read(const std::string& path, const FileStatus& status, std::int64_t most) {
    if (status.size > most)
        log_message(LOG_PROBLEM, LOG_DB, "only the first %d MiB of playlist %s are read\n",
                    static_cast<int>(most / kMebibyte), path.c_str());
    return std::min(status.size, most);
}

void import_lines(const std::string& path, std::string_view name, Refusal refusal, const RunningFlag* running,
                  LineFormat read) {
    const File file = file_open_regular(path);
    const auto status = file ? file.status() : std::nullopt;
    if (!status) return;
    Import import{path, name, refusal, running};
    FileWindow window{file, static_cast<std::uint64_t>(bytes_to_read(path, *status, kLargestLines)), running};
    read(window, [&](std::string_view entry, std::string_view title) { return import.add(entry, title); });
    import.finish();
}

std::optional<std::string> read_document(const std::string& path) {
    const File file = file_open_regular(path);
    const auto status = file ? file.status() : std::nullopt;
    if (!status) return std::nullopt;
    std::string document(static_cast<std::size_t>(bytes_to_read(path, *status, kLargestXml)), '\0');
    document.resize(file.read_at(0, std::as_writable_bytes(std::span{document})));
    return document;
}

}  // namespace

void m3u_import(const std::string& path, std::string_view name, const RunningFlag* running) {
    import_lines(path, name, Refusal::with_title, running, m3u_read);
}

void pls_import(const std::string& path, std::string_view name, const RunningFlag* running) {
    import_lines(path, name, Refusal::path_alone, running, pls_read);
}

void xml_playlist_import(const std::string& path, std::string_view name, const RunningFlag* running) {
    const auto document = read_document(path);
    if (!document) return;
    Import import{path, name, Refusal::path_alone, running};
    xml_playlist_read(*document,
                      [&](std::string_view entry, std::string_view title) { return import.add(entry, title); });
    import.finish();
}

void playlist_import(const std::string& path, const RunningFlag& running) {
    struct Format {
        std::string_view extension;
        void (*import)(const std::string& path, std::string_view name, const RunningFlag* running);
    };
    constexpr Format kFormats[] = {{"m3u", m3u_import}, {"pls", pls_import}, {"wpl", xml_playlist_import}};
    for (const Format& format : kFormats)
        if (str_equal_nocase(path_extension(path), format.extension)) format.import(path, {}, &running);
}

void playlists_forget_vanished(std::string_view directory) {
    std::map<std::string, std::string> names;
    {
        std::scoped_lock lock{imported().mutex};
        names = imported().names;
    }
    const std::string below = directory.ends_with('/') ? std::string{directory} : str_concat(directory, "/");
    std::map<std::string, std::string> gone = names;
    std::erase_if(gone, [&](const auto& file) {
        return (!directory.empty() && !file.first.starts_with(below)) || file_status(file.first).has_value();
    });
    for (const auto& file : gone) {
        names.erase(file.first);
        const bool named_by_another =
            std::ranges::any_of(names, [&](const auto& other) { return other.second == file.second; });
        if (!named_by_another) db_end_playlist(file.second, db_begin_playlist(file.second));
        std::scoped_lock lock{imported().mutex};
        imported().names.erase(file.first);
        imported().refused.erase(file.first);
    }
}
