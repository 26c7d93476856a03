#include "scan/tree_walk.h"

#include <fcntl.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/file.h"
#include "core/log.h"
#include "core/settings.h"
#include "core/settings_table.h"
#include "core/str.h"
#include "core/thread.h"
#include "db/add_item.h"
#include "import/file_item.h"
#include "import/playlist_files.h"
#include "meta/media_formats.h"
#include "scan/content_directories.h"

// How it works. A depth-first walk through directory handles. A link to a directory is followed, which takes two rules:
//
//  - A directory on the current path (`open_`) is never entered again: that would be a loop.
//  - An album that is linked from several directories is listed in all of them, whichever is found first, so a
//  directory
//    may be entered a second time through a link. Below it, though, links lead only to directories that were never
//    entered (`entered_`, `seen_again_`). Otherwise a few directories that link to each other would be walked in every
//    possible order.
namespace {

constexpr int kMaxLevels = 21;
constexpr std::size_t kPathBytes = 4095;  // longer paths cannot be opened by name

// Whether one of the parts occurs anywhere in the path, without regard to case; it need not be a whole name. An empty
// part would occur in every path and is skipped: a trailing comma must not hide the whole library.
bool any_occurs(const SettingList& parts, std::string_view path) {
    return std::ranges::any_of(
        parts, [path](const std::string& part) { return !part.empty() && str_contains_nocase(path, part); });
}

bool is_playlist(std::string_view path) {
    const MediaFormat* const format = media_format_of(path);
    return format != nullptr && format->playlist;
}

// A directory about to be scanned: its path, and how to reach it from an open one.
struct Folder {
    const std::string& path;
    FileStatus status;
    int parent_fd;
    const char* name;
    bool linked = false;  // by a symbolic link
};

class TreeWalk {
public:
    TreeWalk(const RunningFlag& running, ScanRestriction restriction, FoundPlaylists& playlists)
        : running_(running), restriction_(restriction), playlists_(playlists) {}

    // Makes a directory part of the current path without walking it; false if it is there already.
    bool pass_through(const std::string& path) {
        const auto status = file_status(path);
        if (status && is_open(*status)) return refuse(path);
        if (status) open_.push_back(*status);
        return true;
    }

    void scan(const std::string& path) {
        // A directory without a status cannot be entered either; opening it then writes the log line.
        const FileStatus status = file_status(path).value_or(FileStatus{});
        scan_folder({.path = path, .status = status, .parent_fd = AT_FDCWD, .name = path.c_str()}, 0);
    }

private:
    void scan_folder(const Folder& folder, int depth) {
        const char* const path = folder.path.c_str();
        if (depth >= kMaxLevels) {
            log_message(LOG_INFO, LOG_DB, "do not descend further\n");
            return;
        }
        if (!running_.running()) return;
        const std::pair identity{folder.status.device, folder.status.inode};
        const bool again = folder.linked && entered_.contains(identity);
        if (is_open(folder.status) || (again && seen_again_)) {
            refuse(folder.path);
            return;
        }
        Directory directory{folder.parent_fd, folder.name};
        if (directory.failure() != Directory::Failure::none) {
            const bool entered = directory.failure() == Directory::Failure::list;
            log_message(LOG_ERROR, LOG_DB, entered ? "opendir failed %s\n" : "chdir failed %s\n", path);
            return;
        }
        log_message(LOG_INFO, LOG_DB, "scanning %s\n", path);
        // Kept on purpose: every path that begins like this is refused, "/processed" as well.
        if (folder.path.starts_with("/proc") || directory.is_kernel_view()) {
            refuse(folder.path);
            return;
        }
        entered_.insert(identity);
        open_.push_back(folder.status);
        const bool seen_again_above = std::exchange(seen_again_, seen_again_ || again);
        scan_entries(folder.path, depth, directory);
        seen_again_ = seen_again_above;
        open_.pop_back();
    }

    void scan_entries(const std::string& path, int depth, Directory& directory) {
        const bool compilation = any_occurs(*compilations_, path);
        std::string entry_path = path;
        while (running_.running()) {
            const char* const name = directory.next();
            if (name == nullptr) return;
            const auto status = file_status_at(directory.fd(), name);
            if (!status) {
                log_message(LOG_ERROR, LOG_DB, "upnp_stat failed %s\n", name);
                continue;
            }
            if (!status->directory && !status->regular) continue;
            // For a content directory that is configured with a final "/", the paths of its files have two slashes and
            // those of its folders one. Persistence files and folder views rely on exactly these paths.
            entry_path.resize(path.size());
            if (!status->directory || !path.ends_with('/')) entry_path += '/';
            entry_path += name;
            if (any_occurs(*ignored_, entry_path)) continue;
            if (entry_path.size() > kPathBytes) {
                log_message(LOG_PROBLEM, LOG_DB, "path is too long, skipped: %s\n", entry_path.c_str());
            } else if (status->directory) {
                scan_folder({.path = entry_path,
                             .status = *status,
                             .parent_fd = directory.fd(),
                             .name = name,
                             .linked = file_is_link_at(directory.fd(), name)},
                            depth + 1);
            } else if (is_playlist(entry_path)) {
                playlists_.push_back({.path = entry_path, .restriction = restriction_});
            } else {
                scan_file(entry_path, *status, restriction_, compilation);
            }
        }
    }

    // Whether a directory lies on the current path: a link led back to it.
    bool is_open(const FileStatus& status) const {
        return std::ranges::any_of(
            open_, [&](const FileStatus& one) { return one.device == status.device && one.inode == status.inode; });
    }

    static bool refuse(const std::string& path) {
        log_message(LOG_INFO, LOG_DB, "do not descend into %s\n", path.c_str());
        return false;
    }

    const RunningFlag& running_;
    const ScanRestriction restriction_;
    FoundPlaylists& playlists_;
    const std::shared_ptr<const SettingList> ignored_ = settings_list(Setting::ignoredir);
    const std::shared_ptr<const SettingList> compilations_ = settings_list(Setting::compilationsdir);
    std::vector<FileStatus> open_;               // the directories on the current path, from the top
    std::set<std::pair<dev_t, ino_t>> entered_;  // all directories of this walk
    bool seen_again_ = false;  // the current path leads through a link to a directory that was entered before
};

}  // namespace

void scan_directory(const std::string& path, const RunningFlag& running, ScanRestriction restriction,
                    FoundPlaylists& playlists) {
    TreeWalk{running, restriction, playlists}.scan(path);
}

void scan_directory(const ScanTarget& target, const RunningFlag& running, FoundPlaylists& playlists) {
    TreeWalk walk{running, target.restriction, playlists};
    for (std::size_t end = 0; !target.below.empty() && end != std::string::npos;
         end = target.below.find('/', end + 1)) {
        ScanTarget above = target;
        above.below.resize(end);
        if (!walk.pass_through(above.path())) return;
    }
    walk.scan(target.path());
}

void scan_playlists(const FoundPlaylists& playlists, const RunningFlag& running) {
    for (const auto& [path, restriction] : playlists) {
        if (!running.running()) return;
        const MediaFormat* const format = media_format_of(path);
        if (format != nullptr && (!restriction || *restriction == format->type)) playlist_import(path, running);
    }
}

void scan_file(const std::string& path, const FileStatus& status, ScanRestriction restriction, bool compilation) {
    const MediaFormat* const format = media_format_of(path);
    if (format == nullptr || format->read == nullptr || (restriction && *restriction != format->type)) return;
    if (!db_is_newer_on_disk(path, media_class_of(format->type), status.modified_32())) return;
    add_media_file(path, *format, compilation);
}
