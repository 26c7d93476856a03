#include "import/itunes_thread.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/file.h"
#include "core/log.h"
#include "core/settings.h"
#include "core/settings_table.h"
#include "core/str.h"
#include "core/thread.h"
#include "import/itunes_db.h"
#include "import/itunes_xml.h"

namespace {

constexpr std::int64_t kLookAgainMs = 60'000;

using LibraryReading = std::vector<std::string> (*)(const std::string& path,
                                                    const std::vector<std::string>& former_names,
                                                    const RunningFlag* running);

bool same_file(const FileStatus& a, const FileStatus& b) {
    return a.modified == b.modified && a.size == b.size && a.inode == b.inode && a.device == b.device;
}

void itunes_thread(RunningFlag& running, const std::string& path, LibraryReading read, LibraryMayBegin may_begin) {
    while (!may_begin())
        if (!sleep_while_running(running, 100)) return;
    if (!running.running()) return;

    std::optional<FileStatus> last;
    std::vector<std::string> names;
    do {
        const auto status = file_status(path);
        if (!status || (last && same_file(*last, *status))) continue;
        log_message(LOG_INFO, LOG_DB, "iTunes: %s %s\n", "reading", path.c_str());
        names = read(path, names, &running);
        log_message(LOG_INFO, LOG_DB, "iTunes: %s %s\n", "finished", path.c_str());
        last = status;
    } while (sleep_while_running(running, kLookAgainMs));
}

void start(RunningFlag& running, Setting setting, LibraryReading read, LibraryMayBegin may_begin) {
    const Text path = settings_get(setting);
    if (!path || path->empty()) return;
    thread_start_flagged(running,
                         [&running, path = *path, read, may_begin] { itunes_thread(running, path, read, may_begin); });
}

}  // namespace

void itunes_start(RunningFlag& running, LibraryMayBegin may_begin) {
    start(running, Setting::ituneslib, itunes_xml_import, may_begin);
}

void ipod_start(RunningFlag& running, LibraryMayBegin may_begin) {
    start(running, Setting::ipoddb, itunesdb_import, may_begin);
}
