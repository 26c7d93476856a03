// How it works. One reader at start, then one writer that polls the store's marks of change:
//
//     start -> read all records ------------------> scanner starts; `reading` is cleared
//     writer: changed? -> quiet for five seconds -> format under the lock -> enough room? -> write
//
// Rule: a library that was not read completely never replaces the file. So nothing is saved while `reading` is set,
// which a failed or stopped reading leaves set; the text is complete before the file is opened, and the room on the
// disk is checked first. The last save, which a shutdown may not wait for, goes to a second file that is then renamed.
//
// Two marks tell that something changed: the system update id (content, saved soon) and the number of plays (saved
// after five minutes at the earliest and at the end, because clients fetch one track in many ranges).
#include "db/dbfile.h"

#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <span>
#include <string>

#include "core/file.h"
#include "core/log.h"
#include "core/process_wide.h"
#include "core/settings.h"
#include "core/settings_table.h"
#include "core/str.h"
#include "core/thread.h"
#include "db/add_item.h"
#include "db/dbfile_text.h"
#include "db/objects.h"
#include "db/tree.h"

namespace {

constexpr std::int64_t kPollMs = 500;
constexpr int kQuietSleeps = 51;
constexpr std::int64_t kQuietSleepMs = 100;
constexpr std::uint32_t kPlaysWaitMs = 5 * 60'000;
constexpr std::int64_t kExternalLookMs = 5000;

// Writing the file while it is being read would lose the unread rest. Stays set if reading failed or was stopped.
std::atomic<bool>& reading() {
    struct Reading {
        std::atomic<bool> value{false};
    };
    return process_wide<Reading>().value;
}

// The configured path. Returns nullopt if there is none or it is a directory.
Text usable_path() {
    Text path = settings_get(Setting::dbfile);
    if (!path || path->empty()) return std::nullopt;
    const auto status = file_status(*path);
    if (!status || !status->directory) return path;
    log_message(LOG_PROBLEM, LOG_DB, "give a filename not a path for DB: %s\n", path->c_str());
    return std::nullopt;
}

// False if the file could not be read to its end. A stop is not a failure; the caller looks at the flag itself.
bool add_records(const File& file, const RunningFlag& running) {
    std::uint64_t offset = 0;
    DbLines lines{[&](std::span<char> into) {
        const std::size_t n = running.running() ? file.read_at(offset, std::as_writable_bytes(into)) : 0;
        offset += n;
        return n;
    }};
    for (auto line = lines.next(); line && running.running(); line = lines.next())
        if (dbfile_begins_record(*line)) dbfile_read_record(lines);
    const auto status = file.status();
    return !running.running() || !status || offset >= static_cast<std::uint64_t>(status->size);
}

// False if part of the file was not read. A file that is not there has nothing to lose: true.
bool read_file(const std::string& path, const RunningFlag& running) {
    log_message(LOG_INFO, LOG_DB, "reading persistance DB!\n");
    const File file = file_open_regular(path);
    if (!file) {
        log_message(LOG_ERROR, LOG_DB, "%s file not found!\n", path.c_str());
        return true;
    }
    const bool whole = add_records(file, running);
    if (!whole) log_message(LOG_ERROR, LOG_DB, "could not read %s to its end\n", path.c_str());
    log_message(LOG_INFO, LOG_DB, "read on persistance DB completed!\n");
    return whole;
}

// What tells that the file is out of date. Plays change no listing and raise no update id, so they count separately.
struct SaveMark {
    std::int32_t update_id = 0;
    std::uint32_t plays = 0;
};
SaveMark current_mark() {
    StoreLock lock;
    return {.update_id = store(lock).system_update_id, .plays = store(lock).plays};
}

// Waits until nothing has changed for a little over five seconds. Returns nullopt if the thread is to end. Plays do not
// prolong the wait: a client that asks for a track in many ranges would keep everything else from being saved.
std::optional<SaveMark> wait_for_quiet(const RunningFlag& running) {
    SaveMark mark = current_mark();
    for (int sleeps = 0; sleeps < kQuietSleeps;) {
        if (!sleep_while_running(running, kQuietSleepMs)) return std::nullopt;
        const SaveMark now = current_mark();
        sleeps = now.update_id > mark.update_id || reading() ? 0 : sleeps + 1;
        mark = now;
    }
    return mark;
}

// The whole library as it is at one moment. Returns nullopt if the flag stops running or the library is gone.
std::optional<DbText> format_library(const RunningFlag& running) {
    DbText text;
    StoreLock lock;
    const MediaStore& media = store(lock);
    if (media.root == nullptr) return std::nullopt;  // a shutdown did not wait for us
    for (const MediaContainer* list : {media.all_tracks, media.all_pictures, media.all_videos})
        if (!dbfile_write_items(lock, list, text, running)) return std::nullopt;
    return text;
}

// Checked before the old file is truncated: a full disk must not cost the library. Unknown file systems are trusted.
bool has_room(const std::string& path, std::size_t bytes) {
    const auto old = file_status(path);
    const std::size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    struct statvfs disk {};
    const bool known = statvfs(old ? path.c_str() : folder.c_str(), &disk) == 0 && disk.f_blocks > 0;
    const std::uint64_t free_blocks = geteuid() == 0 ? disk.f_bfree : disk.f_bavail;
    const auto used_now = static_cast<std::uint64_t>(old ? old->size : 0);
    return !known || bytes <= free_blocks * disk.f_frsize + used_now;
}

bool write_file(const std::string& path, const DbText& text) {
    File file = file_create(path);
    if (!file) {
        log_message(LOG_ERROR, LOG_DB, "could not open %s for writing\n", path.c_str());
        return false;
    }
    const auto write = [&](const std::string& piece) { return file.write_all(piece); };
    const bool whole = std::ranges::all_of(text.pieces(), write) && file.close();
    if (!whole) log_message(LOG_ERROR, LOG_DB, "could not write %s: %s\n", path.c_str(), error_text().c_str());
    return whole;
}

// Returns nullopt if there is nothing to write, or (logged) no room for it.
std::optional<DbText> text_to_save(const std::string& path, const RunningFlag& running) {
    log_message(LOG_INFO, LOG_DB, "writing DB\n");
    auto text = format_library(running);
    if (!text || has_room(path, text->bytes())) return text;
    log_message(LOG_ERROR, LOG_DB, "no room for %s: %zu bytes\n", path.c_str(), text->bytes());
    return std::nullopt;
}

void save(const std::string& path, const RunningFlag& running) {
    if (const auto text = text_to_save(path, running)) write_file(path, *text);
}

// The process may end before everything is written: the former file stays until the new one is complete.
void save_at_the_end(const std::string& path) {
    RunningFlag running;
    running.set_running();
    const auto text = text_to_save(path, running);
    const std::string beside = path + ".new";
    if (!text || !write_file(beside, *text)) return;
    if (std::rename(beside.c_str(), path.c_str()) != 0)
        log_message(LOG_ERROR, LOG_DB, "could not rename %s: %s\n", beside.c_str(), error_text().c_str());
}

// The state in which a file was found; two equal ones count as the same content.
struct LookedAt {
    std::int64_t size = -1, modified = -1;
    bool operator==(const LookedAt&) const = default;
};
LookedAt look_at(const std::string& path) {
    const auto status = file_status(path);
    return status && status->regular ? LookedAt{.size = status->size, .modified = status->modified} : LookedAt{};
}

void external_thread(RunningFlag& running, const RunningFlag& first) {
    const std::string path{text_or_empty(settings_get(Setting::externaldbfile))};
    while (running.running() && first.running()) sleep_while_running(running, kQuietSleepMs);
    LookedAt seen = look_at(path);
    LookedAt read;
    do {
        const LookedAt now = look_at(path);
        const bool settled = now == seen;  // others may still be writing it
        seen = now;
        if (!settled || now == read || now == LookedAt{}) continue;
        read_file(path, running);
        read = now;
    } while (sleep_while_running(running, kExternalLookMs));
}

}  // namespace

void dbfile_start_reader(RunningFlag& running) {
    if (running.idle()) reading() = false;  // an earlier start may have left it set
    const Text path = usable_path();
    if (!path || !file_status(*path)) return;
    if (!running.idle()) {
        log_message(LOG_INFO, LOG_DB, "read database thread overlapping, terminating one!\n");
        return;
    }
    reading() = true;
    if (!thread_start_flagged(running, [&running] { dbfile_read_thread(running); })) reading() = false;
}

void dbfile_start_writer(RunningFlag& running) {
    if (!has_text(settings_get(Setting::dbfile))) return;
    thread_start_flagged(running, [&running] { dbfile_write_thread(running); });
}

void dbfile_start_external(RunningFlag& running, const RunningFlag& first) {
    if (!has_text(settings_get(Setting::externaldbfile))) return;
    thread_start_flagged(running, [&running, &first] { external_thread(running, first); });
}

void dbfile_read_thread(RunningFlag& running) {
    const bool whole = read_file(std::string{text_or_empty(settings_get(Setting::dbfile))}, running);
    reading() = !whole || !running.running();
}

void dbfile_write_thread(RunningFlag& running) {
    SaveMark written;
    std::uint32_t written_ms = uptime_ms();
    while (sleep_while_running(running, kPollMs)) {
        // A client that asks for a track in many ranges would have everything written again and again.
        const SaveMark now = current_mark();
        const bool plays_due = now.plays > written.plays && uptime_ms() - written_ms >= kPlaysWaitMs;
        if (now.update_id <= written.update_id && !plays_due) continue;
        const auto mark = wait_for_quiet(running);
        if (!mark) break;
        const Text path = usable_path();
        if (!path) return;
        save(*path, running);
        if (!running.running()) break;
        written = *mark;
        written_ms = uptime_ms();
    }
    // Nobody is served any more, so these are all the plays there are.
    if (reading() || current_mark().plays <= written.plays) return;
    if (const Text path = usable_path()) save_at_the_end(*path);
}

void dbfile_read_record(DbLines& lines) {
    const DbRecord record = dbfile_parse_record(lines);
    const NewItem& item = record.item;
    if (!record.has_class || db_add_item(item) == AddResult::failed) {
        log_message(LOG_PROBLEM, LOG_DB, "failed to add item: %s,%s\n",
                    item.title ? item.title->c_str() : "NO TITLE AVAILABLE", item.path ? item.path->c_str() : "");
    }
}

bool dbfile_write_items(const StoreLock& lock, const MediaContainer* container, DbText& text,
                        const RunningFlag& running) {
    if (container != nullptr) {
        for (MediaObject& child : tree_children(lock, *container)) {
            if (!running.running()) return false;
            if (const MediaItem* const item = item_of(lock, &child)) dbfile_format_item(*item, text);
        }
    }
    return running.running();
}
