#include "scan/scanner.h"

#include <algorithm>
#include <mutex>
#include <optional>

#include "core/log.h"
#include "core/process_wide.h"
#include "core/settings.h"
#include "db/upkeep.h"
#include "import/playlist_files.h"
#include "scan/tree_walk.h"

namespace {

constexpr std::int64_t kDefaultMinutes = 15;
constexpr int kFirstWaits = 4501;
constexpr std::int64_t kFirstWaitMs = 200;
constexpr std::int64_t kPeriodMs = 10'000, kPeriodsPerMinute = 6, kPeriodSeconds = 10;
constexpr std::int64_t kSliceMs = 100;  // how long a stop or a request may go unseen

// A rescan that was asked for; without a target it means all content directories.
struct RescanRequest {
    std::optional<ScanTarget> target;
};

struct ScanState {
    std::mutex mutex;
    std::optional<RescanRequest> request;
    ScanStatus status;
};
ScanState& state() {
    return process_wide<ScanState>();
}

bool rescan_requested() {
    std::scoped_lock lock{state().mutex};
    return state().request.has_value();
}

void publish_seconds(std::int64_t periods) {
    constexpr std::int64_t kLargest = 2'147'483'640;
    std::scoped_lock lock{state().mutex};
    state().status.seconds_to_next =
        static_cast<std::int32_t>(std::clamp<std::int64_t>(periods * kPeriodSeconds, 0, kLargest));
}

// The playlists come last of all: they may name files of any directory.
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

// Over the requested directory, or over all content directories; the request is done with at the end.
void run_pass(const std::optional<RescanRequest>& request, const RunningFlag& running) {
    {
        std::scoped_lock lock{state().mutex};
        state().status.scanning = true;
    }
    db_begin_scan_pass();
    if (request && request->target) {
        scan_targets({*request->target}, running);
    } else {
        scan_targets(content_directories(), running);
    }
    std::scoped_lock lock{state().mutex};
    state().status.scanning = false;
    if (request) state().request.reset();
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

// One period, or less when a rescan is asked for.
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

void scan_and_tidy(const RunningFlag& running) {
    scan_all(running);
    if (!running.running()) return;  // the shutdown does not wait for the rest
    db_remove_vanished();
    playlists_forget_vanished();
    db_prune_empty();
}

}  // namespace

void scan_start(RunningFlag& running, const RunningFlag* watched) {
    if (!running.set_running()) return;
    {
        std::scoped_lock lock{state().mutex};
        state().request.reset();
        state().status = {};
    }
    if (!thread_start_detached([&running, watched] { scan_thread(running, watched); })) running.clear();
}

void scan_thread(RunningFlag& running, const RunningFlag* watched) {
    const ClearsWhenDone done{running};
    const std::int64_t interval =
        settings_get(Setting::scantime) ? settings_get_int(Setting::scantime) : kDefaultMinutes;
    wait_for_flag(running, watched);

    // The first pass is always over everything; a request that came before it follows at once.
    std::uint32_t start_ms = uptime_ms();
    run_pass({}, running);
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
    RescanRequest request{.target = rescan_target(directory)};
    std::scoped_lock lock{state().mutex};
    if (state().request) return RescanAnswer::already_running;
    if (!request.target && !directory.empty()) return RescanAnswer::invalid;
    state().request = std::move(request);
    return RescanAnswer::initiated;
}

void scan_all(const RunningFlag& running) {
    std::optional<RescanRequest> request;
    {
        std::scoped_lock lock{state().mutex};
        request = state().request;
    }
    run_pass(request, running);
}
