// How it works.
//
//     settings -> background -> signals blocked -> URL and packet tables -> start_all()
//     -> wait for SIGTERM or SIGINT -> on_terminate(): stop_all(), close the log, _exit
//
// start_all() starts what is needed first: the content tree, then the listeners and discovery, then the threads that
// fill the tree. The persistence file is read before the first scan pass, and music libraries are imported after it.
// stop_all() asks every thread at once, waits a bounded time for all of them, and frees the tree.
//
// Every thread that outlives a request has a flag in RunningFlags and a row in kLongThreads. Invariant: start_all and
// stop_all run only under `lifecycle`, so the tree is never freed while something is being started.
#include "startup.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <string_view>

#include "core/command_line.h"
#include "core/ini.h"
#include "core/interfaces.h"
#include "core/log.h"
#include "core/process.h"
#include "core/process_wide.h"
#include "core/settings.h"
#include "core/settings_table.h"
#include "core/start_directory.h"
#include "core/str.h"
#include "core/thread.h"
#include "db/dbfile.h"
#include "db/store.h"
#include "import/itunes_thread.h"
#include "import/radio.h"
#include "instances.h"
#include "net/client.h"
#include "routes.h"
#include "scan/scanner.h"
#include "upnp/clients.h"
#include "upnp/gena.h"

namespace {

constexpr const char* kProduct = "MediaServer";
constexpr const char* kVersion = PELORAMA_VERSION;
constexpr std::string_view kUserAgent = "Mozilla/4.0 (Compatible, Pelorama UPnP MediaServer)";

constexpr int kStopLimitMs = 5000;
constexpr int kRestartDelayMs = 500;

struct ServerState {
    RunningFlags flags;
    std::mutex lifecycle;  // one start, stop or restart at a time
    std::atomic<bool> terminating{false};
};
ServerState& state() {
    return process_wide<ServerState>();
}

// What a shutdown does with a long-lived thread. It waits for all of them.
struct LongThread {
    RunningFlag RunningFlags::*flag;
    const char* name;  // in the report of those that did not end, in its order; null: never named
    bool asked = true;
};
constexpr auto kLongThreads = std::to_array<LongThread>({
    {&RunningFlags::upnp_server, "g_upnp_server_thread_running:"},
    {&RunningFlags::radio, "g_Radio_thread_running:"},
    {&RunningFlags::itunes, "g_iTunes_thread_running:"},
    // Kept on purpose: the flag of the Winamp import is waited for, but nobody asks it to stop.
    {&RunningFlags::winamp, "g_Winamp_thread_running:", false},
    {&RunningFlags::file_scan, "g_file_scan_thread_running:"},
    {&RunningFlags::external_db_scan, "g_external_db_scan_thread_running:"},
    {&RunningFlags::db_read_file, "g_db_read_file_thread_running:"},
    {&RunningFlags::db_write_file, "g_db_write_file_thread_running:"},
    {&RunningFlags::eventing, "g_eventing_thread_running:"},
    {&RunningFlags::ipod, nullptr},
});

bool all_idle() {
    return std::ranges::all_of(kLongThreads,
                               [](const LongThread& thread) { return (state().flags.*thread.flag).idle(); });
}

void report_unfinished() {
    std::string report = "NOT ALL REQUESTED THREADS HAVE TERMINATED!\n";
    for (const LongThread& thread : kLongThreads) {
        if (thread.name != nullptr)
            report += text_format(64, "%-35s%d\n", thread.name, (state().flags.*thread.flag).value());
    }
    log_message(LOG_PROBLEM, LOG_SYSTEM, "%s", report.c_str());
}

// The countdown to the next pass begins after the first one, at ten seconds or more.
bool first_scan_is_over() {
    return scan_status().seconds_to_next > 0 || state().flags.file_scan.idle();
}

}  // namespace

RunningFlags& running_flags() {
    return state().flags;
}

void start_all() {
    RunningFlags& flags = running_flags();
    clients_register_configured();
    db_create();
    server_start(flags.upnp_server);
    dbfile_start_reader(flags.db_read_file);
    dbfile_start_writer(flags.db_write_file);
    scan_start(flags.file_scan, &flags.db_read_file);
    itunes_start(flags.itunes, first_scan_is_over);
    ipod_start(flags.ipod, first_scan_is_over);
    radio_start(flags.radio, &flags.db_read_file);
    gena_start_ticker(flags.eventing);
    dbfile_start_external(flags.external_db_scan, flags.db_read_file);
}

void stop_all() {
    RunningFlags& flags = running_flags();
    if (flags.upnp_server.running()) {
        flags.upnp_server.ask_to_stop();
        server_stop(flags.upnp_server);
    }
    for (const LongThread& thread : kLongThreads)
        if (thread.asked) (flags.*thread.flag).ask_to_stop();
    wait_at_most(kStopLimitMs, all_idle);
    if (!all_idle()) report_unfinished();
    db_destroy();
}

void restart_all() {
    sleep_ms(kRestartDelayMs);
    std::scoped_lock lock{state().lifecycle};
    stop_all();
    ini_read();
    start_all();
}

void on_terminate(int signal) {
    if (state().terminating.exchange(true)) return;
    std::printf("terminating....signal=%d\n", signal);
    std::fflush(stdout);
    // Waits for a restart in progress. Never released: a later restart blocks here until the process ends.
    std::scoped_lock lock{state().lifecycle};
    stop_all();
    settings_free_all();
    log_close();
    _exit(EXIT_SUCCESS);
}

void run_server(int argc, const char* const* argv) {
    occupy_standard_descriptors();
    std::printf("Pelorama %s Version %s\n", kProduct, kVersion);
    std::fflush(stdout);
    log_open_file(nullptr);
    start_directory();

    settings_init(argc, argv);
    if (settings_get_bool(Setting::daemon)) daemonize();
    ignore_broken_pipes();
    raise_descriptor_limit();
    share_heaps();
    const sigset_t signals = block_shutdown_signals();

    // Kept on purpose: the address of `dev` is looked up and not used, the served ones come from `ip` or from
    // detection.
    const Text device = settings_get(Setting::dev);
    if (device && !device->empty()) static_cast<void>(get_device_address(*device));

    register_http_handlers();
    register_packet_handlers();
    http_set_user_agent(kUserAgent);
    {
        std::scoped_lock lock{state().lifecycle};
        start_all();
    }
    std::atexit([] { on_terminate(0); });
    on_terminate(wait_for_shutdown_signal(signals));
    // Another thread's exit() has begun the shutdown; it ends the process.
    for (;;) sleep_ms(60'000);
}
