// A host that says what it is told: it takes one connection after the other, reads the request's header (and the body
// of its Content-Length), sends a fixed answer and closes, or keeps the connection open until it is let go.
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "core/socket.h"

class ScriptedServer {
public:
    enum class After { close, hold };
    // Port 0: any.
    explicit ScriptedServer(std::string answer, After after = After::close, const char* address = "127.0.0.1",
                            int port = 0);
    ~ScriptedServer();

    std::string url(const std::string& path = "/") const;
    int port() const { return port_; }
    int connections() const { return connections_; }
    std::string last_request() const;
    // Closes what is held and takes no more connections.
    void let_go();

private:
    void serve();
    std::string answer_;
    After after_;
    Socket listener_;
    int port_ = 0;
    std::atomic<int> connections_{0};
    mutable std::mutex mutex_;
    std::string request_;
    std::atomic<bool> ending_{false};
    std::thread thread_;
};
