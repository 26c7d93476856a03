#include "instances.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/interfaces.h"
#include "core/log.h"
#include "core/process.h"
#include "core/process_wide.h"
#include "core/settings.h"
#include "core/settings_table.h"
#include "core/socket.h"
#include "core/str.h"
#include "core/thread.h"
#include "http/server.h"
#include "net/connections.h"
#include "upnp/gena.h"
#include "upnp/ssdp.h"

namespace {

constexpr std::string_view kLoopback = "127.0.0.1";
constexpr int kUpgradePort = 3640;  // where clients that fetch their firmware look

constexpr int kServerPassMs = 500;
constexpr int kConnectionsLimitMs = 3000;
constexpr std::size_t kInstancesWaitedFor = 2;

// One served address. Its threads share the two instances, so each lives until its last thread has ended.
struct ServerInstance {
    std::shared_ptr<HttpServerInstance> http;
    Socket listener;  // a duplicate of the accept thread's socket, to wake it: that one may be closed at any time
    std::shared_ptr<SsdpInstance> ssdp;
};
struct Instances {
    std::vector<ServerInstance> all;
};
std::vector<ServerInstance>& instances() {
    return process_wide<Instances>().all;
}

// ---- served addresses

// An address that matches no interface is used as its own name, for the log.
std::vector<NetworkInterface> configured_interface(const std::string& ip) {
    const in_addr address = ipv4_parse(ip);
    if (address.s_addr == 0) log_message(LOG_CRITICAL, LOG_SYSTEM, "invalid IP address: %s\n", ip.c_str());
    for (const NetworkInterface& interface : network_interfaces()) {
        if (interface.address.s_addr == address.s_addr) return {interface};
    }
    return {{.name = ip, .address = address}};
}

std::vector<NetworkInterface> detected_interfaces() {
    auto detected = get_interface_addresses();
    if (!detected) {
        log_message(LOG_CRITICAL, LOG_SYSTEM, "Error in get_interface_addresses() function.\nPlease use -ip param!\n");
        return {};
    }
    std::vector<NetworkInterface> interfaces = std::move(*detected);
    std::erase_if(interfaces,
                  [](const NetworkInterface& found) { return !found.up || ipv4_text(found.address) == kLoopback; });
    if (interfaces.empty()) {
        log_message(LOG_PROBLEM, LOG_SYSTEM, "no network interface to serve on, please use -ip param!\n");
    }
    return interfaces;
}

std::vector<NetworkInterface> served_interfaces() {
    const Text ip = settings_get(Setting::ip);
    return ip && !ip->empty() ? configured_interface(*ip) : detected_interfaces();
}

// ---- the instances

int configured_port() {
    if (!has_text(settings_get(Setting::netgearupgrade))) return settings_get_int(Setting::httpport);
    log_message(LOG_INFO, LOG_SYSTEM, "Due to Netgear upgrade function set using fixed port %d!\n", kUpgradePort);
    return kUpgradePort;
}

// The listener is open when this returns: discovery announces its port.
ServerInstance start_listener(const NetworkInterface& served) {
    const auto http = std::make_shared<HttpServerInstance>();
    http->ip_text = ipv4_text(served.address);
    http->port = configured_port();
    http_open_listener(*http);
    log_message(LOG_INFO, LOG_SYSTEM, "Server starting at %s:%d\n", http->ip_text.c_str(), http->port);
    Socket listener{fcntl(http->listen_socket, F_DUPFD_CLOEXEC, 0)};
    thread_start_flagged(http->running, [http] { http_accept_thread(http); });
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

bool all_idle() {
    return std::ranges::all_of(instances(), [](const ServerInstance& instance) {
        return std::ranges::all_of(flags_of(instance), [](const NamedFlag& named) { return named.flag.idle(); });
    });
}

void ask_to_stop(const ServerInstance& instance) {
    instance.http->running.ask_to_stop();
    instance.ssdp->listen_running.ask_to_stop();
    instance.ssdp->heartbeat_running.ask_to_stop();
    instance.ssdp->msearch_running.ask_to_stop();
}

// Wakes the threads that block on sockets. Each thread closes its own sockets, so no descriptor is reused under it.
void wake(const ServerInstance& instance) {
    log_message(LOG_INFO, LOG_SYSTEM, "Server stopping at %s\n", instance.http->ip_text.c_str());
    if (instance.listener) socket_shutdown(instance.listener.fd());
    ssdp_wake(*instance.ssdp);
}

void report_unfinished() {
    for (std::size_t i = 0; i < instances().size(); ++i) {
        for (const NamedFlag& named : flags_of(instances()[i])) {
            if (named.flag.idle()) continue;
            log_message(LOG_PROBLEM, LOG_SYSTEM, "NOT ALL REQUESTED THREADS HAVE TERMINATED!\n%s (%d):   %d\n",
                        named.name, static_cast<int>(i), named.flag.value());
        }
    }
}

}  // namespace

void server_start(RunningFlag& flag) {
    if (flag.running()) return;
    flag.set_running();
    gena_init();
    for (const NetworkInterface& served : served_interfaces()) {
        ServerInstance instance = start_listener(served);
        instance.ssdp = start_discovery(served, *instance.http);
        instances().push_back(std::move(instance));
    }
    if (instances().empty()) return set_server_host_port({});
    const HttpServerInstance& first = *instances().front().http;
    set_server_host_port(text_format(128, "%s:%d", first.ip_text.c_str(), first.port));
}

void server_stop(RunningFlag& flag) {
    if (flag.idle()) return;
    std::ranges::for_each(instances(), ask_to_stop);
    std::ranges::for_each(instances(), wake);
    gena_shutdown();

    // Kept on purpose: with one or two instances this waits until every thread has ended, with more for one pass only.
    do {
        wait_at_most(kServerPassMs, all_idle);
    } while (instances().size() <= kInstancesWaitedFor && !all_idle());
    report_unfinished();

    http_close_connections(kConnectionsLimitMs);
    instances().clear();
    log_message(LOG_INFO, LOG_SYSTEM, "Server terminated\n");
    flag.clear();
}
