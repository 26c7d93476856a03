// The other side of an HTTP test: a plain connection that writes bytes and reads them back, and a listener of the
// server with its accept thread. Every wait fails after ten seconds.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "core/socket.h"
#include "http/server.h"

class HttpPeer {
public:
    HttpPeer() = default;
    explicit HttpPeer(Socket socket) : socket_(std::move(socket)) {}
    // A connection to a port of 127.0.0.1.
    static HttpPeer connect_to(int port);

    int fd() const { return socket_.fd(); }
    bool send(std::string_view bytes) const { return socket_send_all(socket_.fd(), bytes); }
    void end_sending() const;
    void close() { socket_.close(); }

    // Up to and including what is looked for, or what came before the end.
    std::string read_until(std::string_view last);
    // A header and the body of its Content-Length.
    std::string read_answer();
    // Everything up to the end; "(still open)" behind it when there was none in time, "(reset)" after a reset.
    std::string read_all();

private:
    bool read_some();
    Socket socket_;
    std::string pending_;
    std::string how_ended_;
};

// Two connected sockets; the server's end is near.
struct SocketPair {
    SocketPair();
    void close_client() { far.close(); }
    HttpPeer near, far;
    int server = -1, client = -1;  // their descriptors
};

class TestServer {
public:
    TestServer();
    ~TestServer();
    // False when the accept thread or a connection is still there after the time.
    bool stop(int limit_ms = 10'000);
    int port() const { return instance_->port; }
    HttpPeer connect() const { return HttpPeer::connect_to(port()); }

private:
    Socket listener_;  // a duplicate, to wake the accept thread with
    std::shared_ptr<HttpServerInstance> instance_ = std::make_shared<HttpServerInstance>();
};

// Looks again and again until the condition holds; false after the time.
template <typename Condition>
bool holds_within(int limit_ms, Condition condition) {
    const std::uint32_t start = uptime_ms();
    while (!condition()) {
        if (uptime_ms() - start > static_cast<std::uint32_t>(limit_ms)) return false;
        sleep_ms(2);
    }
    return true;
}
