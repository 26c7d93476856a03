#include "net/read.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "core/log.h"
#include "core/socket.h"
#include "core/thread.h"
#include "net/socket_reader.h"

namespace {

// Finds CR LF CR LF, which may be spread over several pieces. Any other byte restarts the match, and so does a CR in a
// wrong position.
class HeaderEndFinder {
public:
    // Where the header ends in this piece: the number of its bytes up to and including the last LF.
    std::optional<std::size_t> find(std::string_view piece) {
        for (std::size_t i = 0; i < piece.size(); ++i) {
            const char wanted = matched_ % 2 == 0 ? '\r' : '\n';
            matched_ = piece[i] == wanted ? matched_ + 1 : 0;
            if (matched_ == 4) return i + 1;
        }
        return std::nullopt;
    }

private:
    int matched_ = 0;
};

bool wait_for_first_byte(int socket, int limit_ms) {
    pollfd waiting{.fd = socket, .events = POLLIN, .revents = 0};
    int ready = 0;
    do {
        ready = poll(&waiting, 1, limit_ms);
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

void report_failure(const std::string& peer) {
    const int reason = errno;
    const std::string what = "recv (" + peer + ")";
    errno = reason;
    print_error(what.c_str());
}

}  // namespace

ReadHeader http_read_header(int socket, int first_byte_ms, int deadline_ms, std::size_t capacity) {
    const std::string peer = socket_peer(socket);  // asked now: after a reset there is none any more
    if (!wait_for_first_byte(socket, first_byte_ms)) return {};
    SocketReader reader{socket, deadline_ms, deadline_ms};
    HeaderEndFinder finder;
    ReadHeader header;
    std::array<char, kHeaderBytes> piece;
    while (header.text.size() < capacity) {
        // Peek first: the body must stay in the socket. If there is no end of the header in what was peeked at, all of
        // it belongs to the header: consume it, so that the next wait is for new bytes.
        const std::size_t seen = reader.peek({piece.data(), std::min(piece.size(), capacity - header.text.size())});
        const auto end = finder.find({piece.data(), seen});
        const std::size_t taken = end.value_or(seen);
        if (seen == 0 || !reader.skip(taken)) {
            if (reader.end() == SocketReader::End::failed) report_failure(peer);
            return {};
        }
        header.text.append(piece.data(), taken);
        if (!end) continue;
        header.text.resize(std::min(header.text.size(), capacity - 1));
        header.end = HeaderEnd::complete;
        return header;
    }
    header.text.resize(capacity - 1);
    header.end = HeaderEnd::too_small;
    log_message(LOG_ERROR, LOG_HTTP, "header buffer to small!\n%s\n", header.text.c_str());
    return header;
}
