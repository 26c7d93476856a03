#include "net/source.h"

#include <sys/socket.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "core/deadline.h"
#include "core/log.h"
#include "core/socket.h"
#include "core/str.h"
#include "net/body.h"
#include "net/client.h"
#include "net/connections.h"
#include "net/read.h"

namespace {

constexpr int kTotalMs = 30'000;
constexpr int kMaxRedirects = 5;
constexpr int kMaxPlaylists = 3;
constexpr std::size_t kPlaylistBytes = 64 * 1024;

// Whether this is a connection to one of our own listeners: both ends have the same address, and the port is theirs.
bool leads_back(int socket, int own_port) {
    sockaddr_in near{}, far{};
    socklen_t near_size = sizeof near, far_size = sizeof far;
    if (getsockname(socket, reinterpret_cast<sockaddr*>(&near), &near_size) != 0) return true;
    if (getpeername(socket, reinterpret_cast<sockaddr*>(&far), &far_size) != 0) return true;
    return near.sin_addr.s_addr == far.sin_addr.s_addr && ntohs(far.sin_port) == own_port;
}

std::string lines_without_range(std::string_view lines) {
    std::string rest;
    while (!lines.empty()) {
        const std::string_view line = lines.substr(0, std::min(lines.find('\n'), lines.size() - 1) + 1);
        if (!str_starts_nocase(line, "Range:")) rest.append(line);
        lines.remove_prefix(line.size());
    }
    return rest;
}

// Follows redirects and playlists from URL to URL until a stream answers. One deadline covers all of them, and the
// number of redirects and playlists is limited, because two of them may lead to each other.
class SourceFinder {
public:
    SourceFinder(std::string_view request_lines, int own_port)
        : request_lines_(request_lines), without_range_(lines_without_range(request_lines)), own_port_(own_port) {}

    std::optional<HttpSource> run(std::string url) {
        for (;;) {
            auto source = ask(url, request_lines_);
            // The client's range is meant for the stream. Of a playlist that leads to it the whole is needed.
            if (source && source->status != 200 && is_playlist(*source)) source = ask(url, without_range_);
            if (!source) return std::nullopt;
            Text next;
            if (source->status >= 300 && source->status <= 399) {
                if (redirects_++ == kMaxRedirects) return std::nullopt;
                next = http_resolve_location(url, http_header_value(source->header, "Location").value_or(""));
            } else if (is_playlist(*source)) {
                if (playlists_++ == kMaxPlaylists) return std::nullopt;
                next = http_first_playlist_entry(playlist_text(*source));
            } else {
                const bool found = source->status == 200 || source->status == 206 || source->status == 416;
                return found ? std::move(source) : std::nullopt;
            }
            if (!next) return std::nullopt;
            log_message(LOG_INFO, LOG_HTTPPROXY, "%s leads to %s\n", url.c_str(), next->c_str());
            url = std::move(*next);
        }
    }

private:
    std::optional<HttpSource> ask(const std::string& url, std::string_view request_lines) const {
        SourceConnection connection{http_connect(url, std::min(kConnectMs, deadline_.left_ms()))};
        if (!connection || leads_back(connection.fd(), own_port_)) return std::nullopt;
        if (!http_send_stream_get(connection.fd(), url, request_lines)) return std::nullopt;
        for (int interim = 0; interim < kMaxInterimAnswers; ++interim) {
            const int limit = std::min(kSourceSilenceMs, deadline_.left_ms());
            ReadHeader header = http_read_header(connection.fd(), limit, limit, kAnswerHeaderBytes);
            if (header.end != HeaderEnd::complete) return std::nullopt;
            const int status = http_answer_status(header.text);
            if (status >= 100 && status <= 199) continue;
            const auto body = http_answer_body(header.text);
            if (!body) return std::nullopt;
            return HttpSource{std::move(connection), url, std::move(header.text), status, *body};
        }
        return std::nullopt;
    }

    static bool is_playlist(const HttpSource& source) {
        if (source.status != 200 && source.status != 206 && source.status != 416) return false;
        return http_is_playlist(http_header_value(source.header, "Content-Type").value_or(""), source.url);
    }

    // The beginning of the body; the first entry is enough.
    std::string playlist_text(const HttpSource& source) const {
        const BodyLimits limits{.bytes = kPlaylistBytes,
                                .silence_ms = std::min(kSourceSilenceMs, deadline_.left_ms()),
                                .deadline_ms = deadline_.left_ms()};
        const int socket = source.connection.fd();
        switch (source.body.coding) {
            case AnswerBody::Coding::chunked:
                return http_read_chunks(socket, limits).text;
            case AnswerBody::Coding::by_length:
                return http_read_sized(socket, std::min<std::int64_t>(source.body.length, kPlaylistBytes), limits).text;
            case AnswerBody::Coding::to_close:
                break;
        }
        return http_read_to_close(socket, limits).text;
    }

    const std::string_view request_lines_;
    const std::string without_range_;
    const int own_port_;
    const Deadline deadline_{kTotalMs};
    int redirects_ = 0;
    int playlists_ = 0;
};

}  // namespace

SourceConnection::SourceConnection(Socket socket) : socket_(std::move(socket)) {
    if (socket_) connection_opened(socket_.fd());
}

SourceConnection::~SourceConnection() {
    if (socket_) connection_closing(socket_.fd());
}

std::optional<HttpSource> http_open_source(const std::string& url, std::string_view request_lines, int own_port) {
    return SourceFinder{request_lines, own_port}.run(url);
}
