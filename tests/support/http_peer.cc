#include "support/http_peer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <cerrno>

#include "core/str.h"

namespace {

constexpr int kLimitMs = 10'000;

}  // namespace

HttpPeer HttpPeer::connect_to(int port) {
    Socket socket{::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    const sockaddr_in server = ipv4_endpoint(ipv4_parse("127.0.0.1"), static_cast<std::uint16_t>(port));
    EXPECT_EQ(connect(socket.fd(), reinterpret_cast<const sockaddr*>(&server), sizeof server), 0);
    return HttpPeer{std::move(socket)};
}

void HttpPeer::end_sending() const {
    shutdown(socket_.fd(), SHUT_WR);
}

std::string HttpPeer::read_until(std::string_view last) {
    std::size_t at = 0;
    while ((at = pending_.find(last)) == std::string::npos) {
        if (!read_some()) return std::exchange(pending_, {}) + how_ended_;
    }
    const std::string text = pending_.substr(0, at + last.size());
    pending_.erase(0, text.size());
    return text;
}

std::string HttpPeer::read_answer() {
    std::string answer = read_until("\r\n\r\n");
    const std::size_t length = answer.find("Content-Length: ");
    if (length == std::string::npos) return answer;
    const auto bytes = static_cast<std::size_t>(text_int64(std::string_view{answer}.substr(length + 16)));
    while (pending_.size() < bytes && read_some()) {
    }
    answer += pending_.substr(0, bytes);
    pending_.erase(0, bytes);
    return answer;
}

std::string HttpPeer::read_all() {
    while (read_some()) {
    }
    return std::exchange(pending_, {}) + how_ended_;
}

bool HttpPeer::read_some() {
    how_ended_ = "(still open)";
    if (!socket_wait_readable(socket_.fd(), kLimitMs)) return false;
    char buffer[16 * 1024];
    const ssize_t n = recv(socket_.fd(), buffer, sizeof buffer, 0);
    how_ended_ = n < 0 ? "(reset)" : "";
    if (n > 0) pending_.append(buffer, static_cast<std::size_t>(n));
    return n > 0;
}

SocketPair::SocketPair() {
    int ends[2] = {-1, -1};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    near = HttpPeer{Socket{server = ends[0]}};
    far = HttpPeer{Socket{client = ends[1]}};
}

TestServer::TestServer() {
    instance_->ip_text = "127.0.0.1";
    http_open_listener(*instance_);
    listener_ = Socket{fcntl(instance_->listen_socket, F_DUPFD_CLOEXEC, 0)};
    instance_->running.set_running();
    EXPECT_TRUE(thread_start_detached([instance = instance_] { http_accept_thread(instance); }));
}

TestServer::~TestServer() {
    EXPECT_TRUE(stop());
}

bool TestServer::stop(int limit_ms) {
    instance_->running.ask_to_stop();
    socket_shutdown(listener_.fd());
    listener_.close();
    http_close_connections(limit_ms);
    return holds_within(limit_ms, [&] { return instance_->running.idle(); });
}
