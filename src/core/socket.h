// Sockets: one descriptor each, closed by its owner. Every send goes through socket_send_all, so that a peer that went
// away is an error to handle and never a signal.
#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

class Socket {
public:
    Socket() = default;
    explicit Socket(int fd) : fd_(fd) {}
    ~Socket() { close(); }
    Socket(Socket&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Socket& operator=(Socket&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }

    explicit operator bool() const { return fd_ >= 0; }
    int fd() const { return fd_; }
    int release() { return std::exchange(fd_, -1); }
    void close();

private:
    int fd_ = -1;
};

// What follows in the same segment if it fits: the header of an answer waits for its body.
enum class SendHint { flush, more_follows };

// False unless every byte was taken by the system.
bool socket_send_all(int fd, std::string_view data, SendHint hint = SendHint::flush);

// Sets the address-reuse option.
void socket_reuse(int fd);
void socket_set_blocking(int fd, bool blocking);
// While corked only full segments leave, the rest after 200 ms at the latest; taking the cork out sends what is left at
// once.
void socket_set_corked(int fd, bool corked);

// Wakes whoever blocks on the socket, in both directions. The thread that blocks is the one that closes.
void socket_shutdown(int fd);

// A connection, made within timeout_ms; empty when there is none. The socket blocks.
Socket socket_connect(const sockaddr_in& endpoint, int timeout_ms);

// False unless the system took every byte within timeout_ms.
bool socket_send_within(int fd, std::string_view data, int timeout_ms);

// Waits until the socket can be read (or its peer went away); false after timeout_ms.
bool socket_wait_readable(int fd, int timeout_ms);
// The same until a good part of the send buffer is free. A negative time waits for ever.
bool socket_wait_writable(int fd, int timeout_ms);

// "a.b.c.d"
std::string ipv4_text(in_addr address);
// Missing text or no dotted address: 0.0.0.0.
in_addr ipv4_parse(std::string_view text);
// The first address of a host name or dotted address; missing when there is none. Asks the system's resolver, so it may
// take as long as that does.
std::optional<in_addr> ipv4_resolve(const std::string& host);
sockaddr_in ipv4_endpoint(in_addr address, std::uint16_t port);

// The peer's address in dotted form; empty (and errno) when there is no peer any more.
std::string socket_peer(int fd);
