#include "core/socket.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

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

void socket_shutdown(int fd) {
    shutdown(fd, SHUT_RDWR);
}

bool socket_wait_readable(int fd, int timeout_ms) {
    pollfd waiting{.fd = fd, .events = POLLIN, .revents = 0};
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
