#include "support/scripted_server.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include "support/http_peer.h"

ScriptedServer::ScriptedServer(std::string answer, After after, const char* address, int port)
    : answer_(std::move(answer)), after_(after), listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    socket_reuse(listener_.fd());
    sockaddr_in endpoint = ipv4_endpoint(ipv4_parse(address), static_cast<std::uint16_t>(port));
    socklen_t size = sizeof endpoint;
    EXPECT_EQ(bind(listener_.fd(), reinterpret_cast<const sockaddr*>(&endpoint), size), 0);
    EXPECT_EQ(listen(listener_.fd(), 16), 0);
    getsockname(listener_.fd(), reinterpret_cast<sockaddr*>(&endpoint), &size);
    port_ = ntohs(endpoint.sin_port);
    thread_ = std::thread{[this] { serve(); }};
}

ScriptedServer::~ScriptedServer() {
    let_go();
}

std::string ScriptedServer::url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(port_) + path;
}

std::string ScriptedServer::last_request() const {
    std::scoped_lock lock{mutex_};
    return request_;
}

void ScriptedServer::let_go() {
    ending_ = true;
    socket_shutdown(listener_.fd());
    if (thread_.joinable()) thread_.join();
}

void ScriptedServer::serve() {
    std::vector<HttpPeer> held;
    while (!ending_) {
        Socket socket{accept(listener_.fd(), nullptr, nullptr)};
        if (!socket) return;
        HttpPeer peer{std::move(socket)};
        {
            std::string request = peer.read_answer();
            std::scoped_lock lock{mutex_};
            request_ = std::move(request);
        }
        ++connections_;
        peer.send(answer_);
        if (after_ == After::hold) held.push_back(std::move(peer));
    }
}
