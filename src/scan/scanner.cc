#include "scan/scanner.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <utility>
#include <vector>

#include "core/log.h"
#include "core/process_wide.h"
#include "core/settings.h"
#include "core/settings_table.h"
#include "core/thread.h"
#include "db/upkeep.h"
#include "import/playlist_files.h"
#include "scan/content_directories.h"
#include "scan/tree_walk.h"

namespace {

constexpr std::int64_t kDefaultMinutes = 15;
constexpr int kFirstWaits = 4501;
constexpr std::int64_t kFirstWaitMs = 200;
constexpr std::int64_t kPeriodMs = 10'000, kPeriodsPerMinute = 6, kPeriodSeconds = 10;
constexpr std::int64_t kSliceMs = 100;  // how long a stop or a request may go unseen

// What the next pass covers: some directories, or everything, which includes them.
struct WantedScan {
    bool everything = false;
    std::vector<ScanTarget> directories;

    bool empty() const { return !everything && directories.empty(); }
};

struct ScanState {
    std::mutex mutex;
    WantedScan wanted;     // of the next pass
    bool answers = false;  // the pass that runs now was asked for
    ScanStatus status;
};
ScanState& state() {
    return process_wide<ScanState>();
}

bool rescan_requested() {
    std::scoped_lock lock{state().mutex};
    return !state().wanted.empty();
}

void publish_seconds(std::int64_t periods) {
    constexpr std::int64_t kLargest = 2'147'483'640;
    std::scoped_lock lock{state().mutex};
    state().status.seconds_to_next =
        static_cast<std::int32_t>(std::clamp<std::int64_t>(periods * kPeriodSeconds, 0, kLargest));
}

// Playlists come last, because they may name files of any directory.
void scan_targets(const std::vector<ScanTarget>& targets, const RunningFlag& running) {
    FoundPlaylists playlists;
    for (std::size_t i = 0; i < targets.size() && running.running(); ++i) {
        const char* const text = targets[i].text.c_str();
        log_message(LOG_INFO, LOG_DB, "DB scanning %s\n", text);
        scan_directory(targets[i], running, playlists);
        if (i + 1 == targets.size()) scan_playlists(playlists, running);
        log_message(LOG_INFO, LOG_DB, "DB scan on %s completed\n", text);
    }
}

void run_pass(const std::vector<ScanTarget>& targets, const RunningFlag& running) {
    {
        std::scoped_lock lock{state().mutex};
        state().status.scanning = true;
    }
    db_begin_scan_pass();
    scan_targets(targets, running);
    std::scoped_lock lock{state().mutex};
    state().status.scanning = false;
    state().answers = false;
}

// What was asked for; everything if the pass is a regular one.
WantedScan take_wanted() {
    std::scoped_lock lock{state().mutex};
    WantedScan wanted = std::exchange(state().wanted, {});
    state().answers = !wanted.empty();
    wanted.everything = wanted.everything || wanted.directories.empty();
    return wanted;
}

// Whole seconds since a value of uptime_ms, across its wrap.
std::int64_t seconds_since(std::uint32_t start_ms) {
    return (uptime_ms() - start_ms) / 1000u;
}

void wait_for_flag(const RunningFlag& running, const RunningFlag* watched) {
    for (int waits = 0; waits < kFirstWaits; ++waits) {
        if (!running.running() || watched == nullptr || !watched->running()) return;
        sleep_ms(kFirstWaitMs);
    }
}

// Waits one period, or until a rescan is asked for.
void wait_period(const RunningFlag& running) {
    for (std::int64_t waited = 0; waited < kPeriodMs && !rescan_requested(); waited += kSliceMs)
        if (!sleep_while_running(running, kSliceMs, kSliceMs)) return;
}

// Counts the periods down and publishes them; ends early with the flag or a request.
void wait_for_next_pass(const RunningFlag& running, std::int64_t minutes) {
    std::int64_t periods = std::max<std::int64_t>(minutes * kPeriodsPerMinute, 1);
    publish_seconds(periods);
    do {
        wait_period(running);
        publish_seconds(--periods);
    } while (periods > 0 && running.running() && !rescan_requested());
}

// A pass, then the removal of items whose files it did not find. Below one directory only what lies there is checked,
// so a rescan costs what the directory holds, not what the library does.
void scan_and_tidy(const RunningFlag& running) {
    const WantedScan wanted = take_wanted();
    run_pass(wanted.everything ? content_directories() : wanted.directories, running);
    if (!running.running()) return;  // the shutdown does not wait for the rest
    if (wanted.everything) {
        db_remove_vanished();
        playlists_forget_vanished({});
    } else {
        for (const ScanTarget& target : wanted.directories) {
            db_remove_vanished_below(target.path());
            playlists_forget_vanished(target.path());
        }
    }
    db_prune_empty();
}

}  // namespace

void scan_start(RunningFlag& running, const RunningFlag* watched) {
    if (!running.idle()) return;
    {
        std::scoped_lock lock{state().mutex};
        state().wanted = {};
        state().answers = false;
        state().status = {};
    }
    thread_start_flagged(running, [&running, watched] { scan_thread(running, watched); });
}

void scan_thread(RunningFlag& running, const RunningFlag* watched) {
    const std::int64_t interval =
        settings_get(Setting::scantime) ? settings_get_int(Setting::scantime) : kDefaultMinutes;
    wait_for_flag(running, watched);

    // The first pass is always over everything; a request that came before it follows at once.
    std::uint32_t start_ms = uptime_ms();
    run_pass(content_directories(), running);
    std::int64_t elapsed = seconds_since(start_ms);

    while (running.running()) {
        wait_for_next_pass(running, interval - elapsed / 60);
        if (!running.running()) return;
        start_ms = uptime_ms();
        if (interval > 0 || rescan_requested()) scan_and_tidy(running);
        elapsed = seconds_since(start_ms);
    }
}

ScanStatus scan_status() {
    std::scoped_lock lock{state().mutex};
    return state().status;
}

RescanAnswer scan_request_rescan(std::string_view directory) {
    auto target = rescan_target(directory);
    std::scoped_lock lock{state().mutex};
    if (!state().wanted.empty() || state().answers) return RescanAnswer::already_running;
    if (target) {
        state().wanted.directories.push_back(std::move(*target));
    } else if (directory.empty()) {
        state().wanted.everything = true;
    } else {
        return RescanAnswer::invalid;
    }
    return RescanAnswer::initiated;
}
