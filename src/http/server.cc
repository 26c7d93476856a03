#include "http/server.h"

#include <netinet/tcp.h>
#include <sys/socket.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <memory>
#include <string>
#include <utility>

#include "core/file.h"
#include "core/log.h"
#include "core/socket.h"
#include "core/start_directory.h"
#include "core/str.h"
#include "core/thread.h"
#include "http/exchange.h"
#include "http/request.h"
#include "net/socket_reader.h"

namespace {

constexpr int kFirstDynamicPort = 9000;
constexpr int kLastDynamicPort = 10000;
constexpr int kLargestPort = 65535;
constexpr int kBacklog = 128;

constexpr int kAcceptWaitMs = 500;
constexpr int kShortOfResourcesMs = 50;  // descriptors or threads: another connection will free one
constexpr std::uint32_t kLookForDeadMs = 60'000;
constexpr int kDeadAfterMs = 300'000;  // more than the two minutes between the probes to a paused player

// For how long, and how many bytes, are read and dropped before a connection is closed.
constexpr int kDrainMs = 1000;
constexpr std::size_t kDrainBytes = 8 * 1024 * 1024;

// Seconds of silence before the first probe and between probes, and how many of them.
constexpr int kKeepAliveIdle = 300, kKeepAliveInterval = 60, kKeepAliveProbes = 5;

// What the connections of one listener share. They may outlive it.
struct Listener {
    std::string base_url;
    std::atomic<bool> open{true};
};

void set_option(int socket, int level, int option, int value) {
    setsockopt(socket, level, option, &value, sizeof value);
}

// No TCP_USER_TIMEOUT: it would also end a paused player, which acknowledges but takes nothing. connections_end_dead
// finds the peers that no longer acknowledge.
void prepare_connection(int socket) {
    set_option(socket, IPPROTO_TCP, TCP_NODELAY, 1);
    set_option(socket, SOL_SOCKET, SO_KEEPALIVE, 1);
    set_option(socket, IPPROTO_TCP, TCP_KEEPIDLE, kKeepAliveIdle);
    set_option(socket, IPPROTO_TCP, TCP_KEEPINTVL, kKeepAliveInterval);
    set_option(socket, IPPROTO_TCP, TCP_KEEPCNT, kKeepAliveProbes);
}

// Closing a socket that holds unread bytes resets the connection, and the peer may lose what was sent to it. So our
// side stops sending first, and the peer has a moment to do the same.
void close_gracefully(int socket) {
    shutdown(socket, SHUT_WR);
    SocketReader reader{socket, kDrainMs, kDrainMs};
    std::array<char, 4096> dropped;
    std::size_t total = 0;
    while (total < kDrainBytes) {
        const std::size_t n = reader.take(dropped);
        if (n == 0) return;
        total += n;
    }
}

void serve_connection(const Listener& listener, Socket socket) {
    const HttpConnection connection{
        .socket = socket.fd(), .peer = socket_peer(socket.fd()), .base_url = listener.base_url};
    HandlerResult result = HandlerResult::keep;
    if (connection.peer.empty()) {  // it came and went
        print_error("getpeername");
        result = HandlerResult::close;
    }
    while (listener.open && result == HandlerResult::keep) result = http_answer_request(connection);
    if (result == HandlerResult::close) close_gracefully(socket.fd());
    connection_closing(socket.fd());
}

// False if the system has no thread left.
bool start_connection(const std::shared_ptr<Listener>& listener, Socket socket) {
    prepare_connection(socket.fd());
    const int fd = socket.fd();
    connection_opened(fd);
    if (thread_start_detached([listener, fd] { serve_connection(*listener, Socket{fd}); })) {
        static_cast<void>(socket.release());  // the thread's now
        return true;
    }
    connection_closing(fd);
    return false;
}

// Waits for a connection, then accepts all that are pending, so that a burst does not fill the backlog. False if the
// system is short of descriptors or threads.
bool accept_connections(int listen_socket, const RunningFlag& running, const std::shared_ptr<Listener>& listener) {
    if (!socket_wait_readable(listen_socket, kAcceptWaitMs)) return true;
    while (running.running()) {
        Socket socket{accept4(listen_socket, nullptr, nullptr, SOCK_CLOEXEC)};
        if (!socket) return errno == EINTR || errno == EAGAIN || errno == ECONNABORTED;
        if (!start_connection(listener, std::move(socket))) return false;
    }
    return true;
}

void accept_until_asked_to_stop(int listen_socket, const RunningFlag& running,
                                const std::shared_ptr<Listener>& listener) {
    bool was_short = false;
    std::uint32_t looked = uptime_ms();
    while (running.running()) {
        const bool is_short = !accept_connections(listen_socket, running, listener) && running.running();
        if (is_short && !was_short) {
            log_message(LOG_PROBLEM, LOG_HTTP, "no connections accepted for now: %s\n", error_text().c_str());
        }
        if (is_short) sleep_ms(kShortOfResourcesMs);
        was_short = is_short;
        if (uptime_ms() - looked < kLookForDeadMs) continue;
        looked = uptime_ms();
        connections_end_dead(kDeadAfterMs);
    }
}

// Writes a page beside the ini file that leads to the configuration site. Nothing depends on it, so a failure is
// ignored.
void write_redirect_page(const HttpServerInstance& instance) {
    constexpr const char* kPage =
        "<html><head><META http-equiv=\"refresh\" content=\"0; URL=http://%s:%d/configpage/index.htm\">\n"
        "</head><body><a href=\"http://%s:%d/configpage/index.htm\">Pelorama MediaServer configuration</a>"
        "</body></html>\n";
    const char* const ip = instance.ip_text.c_str();
    const File file = file_create(start_directory() + "/pelorama-config.html");
    if (file) file.write_all(text_format(1024, kPage, ip, instance.port, ip, instance.port));
}

bool bind_to(int socket, in_addr address, int port) {
    if (port < 1 || port > kLargestPort) return false;
    const sockaddr_in endpoint = ipv4_endpoint(address, static_cast<std::uint16_t>(port));
    return bind(socket, reinterpret_cast<const sockaddr*>(&endpoint), sizeof endpoint) == 0;
}

}  // namespace

void http_open_listener(HttpServerInstance& instance) {
    tzset();
    const char* const ip = instance.ip_text.c_str();
    const bool fixed = instance.port != 0;
    const int last_port = fixed ? instance.port : kLastDynamicPort;
    for (int port = fixed ? instance.port : kFirstDynamicPort; port <= last_port; ++port) {
        // Non-blocking: a connection that was announced and went away must not hold the accept loop.
        Socket socket{::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)};
        socket_reuse(socket.fd());
        if (!bind_to(socket.fd(), ipv4_parse(instance.ip_text), port)) continue;
        if (listen(socket.fd(), kBacklog) == 0) {
            instance.port = port;
            instance.listen_socket = socket.release();
            return;
        }
        // Two servers that start at once may both bind a port, and one of them finds it taken only here.
        if (fixed || errno != EADDRINUSE)
            log_message(LOG_CRITICAL, LOG_HTTP, "failure on listen on HTTP server port for IP: %s\n", ip);
    }
    log_message(LOG_CRITICAL, LOG_HTTP, "no free port for HTTP server found on IP: %s\n", ip);
}

void http_accept_thread(const std::shared_ptr<HttpServerInstance>& instance) {
    const Socket socket{std::exchange(instance->listen_socket, -1)};  // closed before the flag is cleared
    if (!socket) return;
    const char* const ip = instance->ip_text.c_str();
    const auto listener = std::make_shared<Listener>();
    listener->base_url = text_format(128, "http://%s:%d/", ip, instance->port);
    write_redirect_page(*instance);
    log_message(LOG_INFO, LOG_HTTP, "HTTP server started at http://%s:%d/\n", ip, instance->port);
    accept_until_asked_to_stop(socket.fd(), instance->running, listener);
    listener->open = false;
    log_message(LOG_INFO, LOG_HTTP, "HTTP server terminated at http://%s:%d/\n", ip, instance->port);
}
