#include "net/connections.h"

#include <netinet/tcp.h>
#include <sys/socket.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <unordered_set>

#include "core/process_wide.h"
#include "core/socket.h"

namespace {

struct OpenConnections {
    std::mutex mutex;
    std::condition_variable fewer;
    std::unordered_set<int> sockets;
    bool stopping = false;
};
OpenConnections& connections() {
    return process_wide<OpenConnections>();
}

// The kernel knows when the peer last acknowledged anything. Only a peer that owes an acknowledgement can be dead: of
// data, or of a probe of its closed window.
bool is_dead(int socket, int silent_ms) {
    tcp_info info{};
    socklen_t size = sizeof info;
    if (getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &size) != 0) return false;
    const bool waits_for_acknowledgement = info.tcpi_unacked > 0 || info.tcpi_probes > 0;
    return waits_for_acknowledgement && info.tcpi_last_ack_recv > static_cast<unsigned>(silent_ms);
}

}  // namespace

void connection_opened(int socket) {
    std::scoped_lock lock{connections().mutex};
    connections().sockets.insert(socket);
    if (connections().stopping) socket_shutdown(socket);  // accepted just before its listener stopped
}

void connection_closing(int socket) {
    std::scoped_lock lock{connections().mutex};
    connections().sockets.erase(socket);
    connections().fewer.notify_all();
}

void http_close_connections(int timeout_ms) {
    OpenConnections& all = connections();
    std::unique_lock lock{all.mutex};
    all.stopping = true;
    for (const int socket : all.sockets) socket_shutdown(socket);
    all.fewer.wait_for(lock, std::chrono::milliseconds{timeout_ms}, [&] { return all.sockets.empty(); });
    all.stopping = false;
}

void connections_end_dead(int silent_ms) {
    std::scoped_lock lock{connections().mutex};
    for (const int socket : connections().sockets) {
        if (is_dead(socket, silent_ms)) socket_shutdown(socket);
    }
}
