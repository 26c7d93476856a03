#include "core/socket.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace {

bool connects_within(int fd, const sockaddr_in& endpoint, int timeout_ms) {
    if (connect(fd, reinterpret_cast<const sockaddr*>(&endpoint), sizeof endpoint) == 0) return true;
    if (errno != EINPROGRESS) return false;
    int failure = ETIMEDOUT;
    socklen_t size = sizeof failure;
    if (socket_wait_writable(fd, timeout_ms) && getsockopt(fd, SOL_SOCKET, SO_ERROR, &failure, &size) != 0)
        return false;
    errno = failure;  // for callers that print the reason
    return failure == 0;
}

}  // namespace

void Socket::close() {
    if (fd_ >= 0) ::close(std::exchange(fd_, -1));
}

bool socket_send_all(int fd, std::string_view data, SendHint hint) {
    const int flags = MSG_NOSIGNAL | (hint == SendHint::more_follows ? MSG_MORE : 0);
    while (!data.empty()) {
        const ssize_t n = send(fd, data.data(), data.size(), flags);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        data.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
}

void socket_reuse(int fd) {
    const int on = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
}

void socket_set_blocking(int fd, bool blocking) {
    const int flags = fcntl(fd, F_GETFL);
    fcntl(fd, F_SETFL, blocking ? flags & ~O_NONBLOCK : flags | O_NONBLOCK);
}

void socket_set_corked(int fd, bool corked) {
    const int value = corked;
    setsockopt(fd, IPPROTO_TCP, TCP_CORK, &value, sizeof value);
}

void socket_shutdown(int fd) {
    shutdown(fd, SHUT_RDWR);
}

Socket socket_connect(const sockaddr_in& endpoint, int timeout_ms) {
    Socket socket{::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)};
    if (!socket) return socket;
    socket_reuse(socket.fd());
    if (!connects_within(socket.fd(), endpoint, timeout_ms)) return Socket{};
    socket_set_blocking(socket.fd(), true);
    return socket;
}

bool socket_send_within(int fd, std::string_view data, int timeout_ms) {
    using namespace std::chrono;
    const auto end = steady_clock::now() + milliseconds{timeout_ms};
    while (!data.empty()) {
        const ssize_t n = send(fd, data.data(), data.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n > 0) {
            data.remove_prefix(static_cast<std::size_t>(n));
            continue;
        }
        if (n < 0 && errno != EINTR && errno != EAGAIN) return false;
        const auto left = duration_cast<milliseconds>(end - steady_clock::now()).count();
        if (left <= 0 || !socket_wait_writable(fd, static_cast<int>(left))) return false;
    }
    return true;
}

bool socket_wait_readable(int fd, int timeout_ms) {
    pollfd waiting{.fd = fd, .events = POLLIN, .revents = 0};
    return poll(&waiting, 1, timeout_ms) > 0;
}

bool socket_wait_writable(int fd, int timeout_ms) {
    pollfd waiting{.fd = fd, .events = POLLOUT, .revents = 0};
    return poll(&waiting, 1, timeout_ms) > 0;
}

std::string ipv4_text(in_addr address) {
    char text[INET_ADDRSTRLEN];
    return inet_ntop(AF_INET, &address, text, sizeof text) != nullptr ? text : "";
}

in_addr ipv4_parse(std::string_view text) {
    in_addr address{};
    if (inet_pton(AF_INET, std::string{text}.c_str(), &address) != 1) address.s_addr = 0;
    return address;
}

std::optional<in_addr> ipv4_resolve(const std::string& host) {
    addrinfo wanted{};
    wanted.ai_family = AF_INET;
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (getaddrinfo(host.c_str(), nullptr, &wanted, &found) != 0 || found == nullptr) return std::nullopt;
    const in_addr address = reinterpret_cast<const sockaddr_in*>(found->ai_addr)->sin_addr;
    freeaddrinfo(found);
    return address;
}

sockaddr_in ipv4_endpoint(in_addr address, std::uint16_t port) {
    sockaddr_in endpoint{};
    endpoint.sin_family = AF_INET;
    endpoint.sin_addr = address;
    endpoint.sin_port = htons(port);
    return endpoint;
}

std::string socket_peer(int fd) {
    sockaddr_in peer{};
    socklen_t size = sizeof peer;
    if (getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &size) != 0) return {};
    return ipv4_text(peer.sin_addr);
}
