// Sockets: each object owns one descriptor and closes it. Every send goes through a function of this file, so that a
// closed connection is an error and never a signal.
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

// more_follows holds back an incomplete segment, so that a header leaves together with its body.
enum class SendHint { flush, more_follows };

// Blocks. Returns false, with errno set, unless the system took every byte.
bool socket_send_all(int fd, std::string_view data, SendHint hint = SendHint::flush);

// Sets SO_REUSEADDR.
void socket_reuse(int fd);
void socket_set_blocking(int fd, bool blocking);
// While corked, only full segments are sent; the rest is sent after 200 ms, or at once when the cork is removed.
void socket_set_corked(int fd, bool corked);

// Wakes the threads that block on the socket, in both directions. The blocked thread closes it.
void socket_shutdown(int fd);

// Connects within timeout_ms. Returns an empty Socket, with errno set, on failure. The socket is a blocking one.
Socket socket_connect(const sockaddr_in& endpoint, int timeout_ms);

// Returns false unless the system took every byte within timeout_ms.
bool socket_send_within(int fd, std::string_view data, int timeout_ms);

// Waits until data can be read or the connection ends; returns false after timeout_ms.
bool socket_wait_readable(int fd, int timeout_ms);
// The same for writing: waits until a good part of the send buffer is free. A negative time waits without end.
bool socket_wait_writable(int fd, int timeout_ms);

// Returns "a.b.c.d".
std::string ipv4_text(in_addr address);
// Returns 0.0.0.0 if the text is no dotted address.
in_addr ipv4_parse(std::string_view text);
// Returns the first address of a host name or dotted address; nullopt if there is none. Blocks as long as the system's
// resolver does.
std::optional<in_addr> ipv4_resolve(const std::string& host);
sockaddr_in ipv4_endpoint(in_addr address, std::uint16_t port);

// Returns the peer's address in dotted form; an empty text, with errno set, if the connection has ended.
std::string socket_peer(int fd);
