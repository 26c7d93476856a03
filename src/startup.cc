#include "startup.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "core/command_line.h"
#include "core/ini.h"
#include "core/interfaces.h"
#include "core/log.h"
#include "core/process.h"
#include "core/process_wide.h"
#include "core/settings.h"
#include "core/socket.h"
#include "core/start_directory.h"
#include "core/str.h"
#include "db/dbfile.h"
#include "db/store.h"
#include "http/server.h"
#include "import/itunes_thread.h"
#include "import/radio.h"
#include "net/client.h"
#include "net/connections.h"
#include "routes.h"
#include "scan/scanner.h"
#include "upnp/clients.h"
#include "upnp/gena.h"
#include "upnp/ssdp.h"

namespace {

constexpr const char* kProduct = "MediaServer";
constexpr const char* kVersion = PELORAMA_VERSION;
constexpr std::string_view kUserAgent = "Mozilla/4.0 (Compatible, Pelorama UPnP MediaServer)";

constexpr std::string_view kLoopback = "127.0.0.1";
constexpr int kUpgradePort = 3640;  // where clients that fetch their firmware look

constexpr int kLookAgainMs = 50;
constexpr int kServerPassMs = 500;
constexpr int kStopLimitMs = 5000;
constexpr int kConnectionsLimitMs = 3000;
constexpr int kRestartDelayMs = 500;
constexpr std::size_t kInstancesWaitedFor = 2;

// One served address. Threads and connections hold on to their halves for as long as they run.
struct ServerInstance {
    std::shared_ptr<HttpServerInstance> http;
    Socket listener;  // ours of the accept thread's socket, to wake it by: its own may be closed at any time
    std::shared_ptr<SsdpInstance> ssdp;
};

struct ServerState {
    RunningFlags flags;
    std::mutex lifecycle;  // one start, stop or restart at a time
    std::vector<ServerInstance> instances;
    std::atomic<bool> terminating{false};
};
ServerState& state() {
    return process_wide<ServerState>();
}

// ---- served addresses

std::vector<NetworkInterface> configured_interface(const std::string& ip) {
    const in_addr address = ipv4_parse(ip);
    if (address.s_addr == 0) log_message(LOG_CRITICAL, LOG_SYSTEM, "invalid IP address: %s\n", ip.c_str());
    for (const NetworkInterface& interface : network_interfaces()) {
        if (interface.address.s_addr == address.s_addr) return {interface};
    }
    return {{.name = ip, .address = address}};
}

std::vector<NetworkInterface> detected_interfaces() {
    auto interfaces = get_interface_addresses();
    if (!interfaces) {
        log_message(LOG_CRITICAL, LOG_SYSTEM, "Error in get_interface_addresses() function.\nPlease use -ip param!\n");
    }
    std::erase_if(*interfaces,
                  [](const NetworkInterface& found) { return !found.up || ipv4_text(found.address) == kLoopback; });
    if (interfaces->empty()) {
        log_message(LOG_PROBLEM, LOG_SYSTEM, "no network interface to serve on, please use -ip param!\n");
    }
    return *interfaces;
}

std::vector<NetworkInterface> served_interfaces() {
    const Text ip = settings_get(Setting::ip);
    return has_text(ip) ? configured_interface(*ip) : detected_interfaces();
}

// ---- the instances

int configured_port() {
    if (!has_text(settings_get(Setting::netgearupgrade))) return settings_get_int(Setting::httpport);
    log_message(LOG_INFO, LOG_SYSTEM, "Due to Netgear upgrade function set using fixed port %d!\n", kUpgradePort);
    return kUpgradePort;
}

ServerInstance start_listener(const NetworkInterface& served) {
    const auto http = std::make_shared<HttpServerInstance>();
    http->ip_text = ipv4_text(served.address);
    http->port = configured_port();
    http_open_listener(*http);
    log_message(LOG_INFO, LOG_SYSTEM, "Server starting at %s:%d\n", http->ip_text.c_str(), http->port);
    Socket listener{fcntl(http->listen_socket, F_DUPFD_CLOEXEC, 0)};
    // Set here: a stop that comes before the thread has begun must not find it idle.
    http->running.set_running();
    if (!thread_start_detached([http] { http_accept_thread(http); })) http->running.clear();
    return {.http = http, .listener = std::move(listener), .ssdp = nullptr};
}

std::shared_ptr<SsdpInstance> start_discovery(const NetworkInterface& served, const HttpServerInstance& http) {
    auto ssdp = std::make_shared<SsdpInstance>();
    ssdp->interface_name = served.name;
    ssdp->address = served.address;
    ssdp->http_port = http.port;
    if (!ssdp_open_sockets(*ssdp)) {
        log_message(LOG_CRITICAL, LOG_SYSTEM,
                    "Error while binding to SSDP multicast socket: %s\nCheck your IP settings: %s\n",
                    error_text().c_str(), http.ip_text.c_str());
    }
    ssdp_start_threads(ssdp);
    return ssdp;
}

struct NamedFlag {
    const char* name;
    const RunningFlag& flag;
};

std::array<NamedFlag, 4> flags_of(const ServerInstance& instance) {
    return {{{"g_HTTP_thread_running", instance.http->running},
             {"g_SSDP_listen_thread_running", instance.ssdp->listen_running},
             {"g_SSDP_heartbeat_thread_running", instance.ssdp->heartbeat_running},
             {"g_SSDP_msearch_thread_running", instance.ssdp->msearch_running}}};
}

bool all_idle(const std::vector<ServerInstance>& instances) {
    return std::ranges::all_of(instances, [](const ServerInstance& instance) {
        return std::ranges::all_of(flags_of(instance), [](const NamedFlag& named) { return named.flag.idle(); });
    });
}

bool all_idle(const RunningFlags& flags) {
    return std::ranges::all_of(
        std::array{&flags.upnp_server, &flags.radio, &flags.itunes, &flags.ipod, &flags.winamp, &flags.file_scan,
                   &flags.external_db_scan, &flags.db_read_file, &flags.db_write_file, &flags.eventing},
        [](const RunningFlag* flag) { return flag->idle(); });
}

template <typename Predicate>
void wait_at_most(int limit_ms, Predicate is_done) {
    for (int waited = 0; waited < limit_ms && !is_done(); waited += kLookAgainMs) sleep_ms(kLookAgainMs);
}

void ask_to_stop(const ServerInstance& instance) {
    instance.http->running.ask_to_stop();
    instance.ssdp->listen_running.ask_to_stop();
    instance.ssdp->heartbeat_running.ask_to_stop();
    instance.ssdp->msearch_running.ask_to_stop();
}

// The threads that block on the sockets are woken here, and are the ones that close them.
void wake(const ServerInstance& instance) {
    log_message(LOG_INFO, LOG_SYSTEM, "Server stopping at %s\n", instance.http->ip_text.c_str());
    if (instance.listener) socket_shutdown(instance.listener.fd());
    ssdp_wake(*instance.ssdp);
}

void report_unfinished(const std::vector<ServerInstance>& instances) {
    for (std::size_t i = 0; i < instances.size(); ++i) {
        for (const NamedFlag& named : flags_of(instances[i])) {
            if (named.flag.idle()) continue;
            log_message(LOG_PROBLEM, LOG_SYSTEM, "NOT ALL REQUESTED THREADS HAVE TERMINATED!\n%s (%d):   %d\n",
                        named.name, static_cast<int>(i), named.flag.value());
        }
    }
}

void report_unfinished(const RunningFlags& flags) {
    log_message(LOG_PROBLEM, LOG_SYSTEM,
                "NOT ALL REQUESTED THREADS HAVE TERMINATED!\n"
                "g_upnp_server_thread_running:      %d\n"
                "g_Radio_thread_running:            %d\n"
                "g_iTunes_thread_running:           %d\n"
                "g_Winamp_thread_running:           %d\n"
                "g_file_scan_thread_running:        %d\n"
                "g_external_db_scan_thread_running: %d\n"
                "g_db_read_file_thread_running:     %d\n"
                "g_db_write_file_thread_running:    %d\n"
                "g_eventing_thread_running:         %d\n",
                flags.upnp_server.value(), flags.radio.value(), flags.itunes.value(), flags.winamp.value(),
                flags.file_scan.value(), flags.external_db_scan.value(), flags.db_read_file.value(),
                flags.db_write_file.value(), flags.eventing.value());
}

// The countdown begins behind the first pass and is at least ten seconds then.
bool first_scan_is_over() {
    return scan_status().seconds_to_next > 0 || state().flags.file_scan.idle();
}

}  // namespace

RunningFlags& running_flags() {
    return state().flags;
}

void server_start(RunningFlag& flag) {
    if (flag.running()) return;
    flag.set_running();
    gena_init();
    std::vector<ServerInstance>& instances = state().instances;
    for (const NetworkInterface& served : served_interfaces()) {
        ServerInstance instance = start_listener(served);
        instance.ssdp = start_discovery(served, *instance.http);
        instances.push_back(std::move(instance));
    }
    if (instances.empty()) return set_server_host_port({});
    const HttpServerInstance& first = *instances.front().http;
    set_server_host_port(text_format(128, "%s:%d", first.ip_text.c_str(), first.port));
}

void server_stop(RunningFlag& flag) {
    if (flag.idle()) return;
    std::vector<ServerInstance>& instances = state().instances;
    std::ranges::for_each(instances, ask_to_stop);
    std::ranges::for_each(instances, wake);
    gena_shutdown();

    // Kept on purpose: one or two instances are waited for until every thread has ended, more of them for one pass
    // only.
    do {
        wait_at_most(kServerPassMs, [&] { return all_idle(instances); });
    } while (instances.size() <= kInstancesWaitedFor && !all_idle(instances));
    report_unfinished(instances);

    http_close_connections(kConnectionsLimitMs);
    instances.clear();
    log_message(LOG_INFO, LOG_SYSTEM, "Server terminated\n");
    flag.clear();
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
    // Kept on purpose: the flag of the Winamp import is waited for below, but nobody asks it to stop.
    for (RunningFlag* flag : {&flags.db_read_file, &flags.db_write_file, &flags.radio, &flags.itunes, &flags.ipod,
                              &flags.file_scan, &flags.external_db_scan, &flags.eventing}) {
        flag->ask_to_stop();
    }
    wait_at_most(kStopLimitMs, [&] { return all_idle(flags); });
    if (!all_idle(flags)) report_unfinished(flags);
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
    // A restart in progress ends first; one that is asked for now never gets the lock.
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
    set_program_path(argc > 0 ? argv[0] : "");
    start_directory();

    settings_init(argc, argv);
    if (settings_get_bool(Setting::D)) daemonize();
    ignore_broken_pipes();
    raise_descriptor_limit();
    share_heaps();
    const sigset_t signals = block_shutdown_signals();

    // Kept on purpose: the address of `dev` is looked up and not used, the served ones come from `ip` or from
    // detection.
    const Text device = settings_get(Setting::dev);
    if (has_text(device)) static_cast<void>(get_device_address(*device));

    register_http_handlers();
    db_set_event_sink(gena_send_update_id_event);
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
