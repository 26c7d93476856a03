// The stream that a URL leads to: asks its server, follows redirects and playlists, and stops at the first byte of the
// stream's body.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/socket.h"
#include "net/http_header.h"

// A connection to a source. It is counted among the open ones while it lives, so that stopping the server wakes the
// thread that waits for it.
class SourceConnection {
public:
    explicit SourceConnection(Socket socket);
    ~SourceConnection();
    SourceConnection(SourceConnection&& other) noexcept = default;
    SourceConnection& operator=(SourceConnection&& other) noexcept = default;  // swaps: other closes what was here
    explicit operator bool() const { return static_cast<bool>(socket_); }
    int fd() const { return socket_.fd(); }

private:
    Socket socket_;
};

constexpr int kSourceSilenceMs = 10'000;

struct HttpSource {
    SourceConnection connection;  // at the first byte of the body
    std::string url;              // where it was found
    std::string header;
    int status = 0;  // 200, 206 or 416
    AnswerBody body;
};

// Returns nullopt if there is no such stream, after 30 s at most (looking host names up aside). request_lines are sent
// along, each ending in "\r\n". own_port is that of the listener that was asked: URLs that lead back to it are refused,
// so that no station can reach our own pages.
std::optional<HttpSource> http_open_source(const std::string& url, std::string_view request_lines, int own_port);
