// Connected sockets for tests of what reads from one and writes to one.
#pragma once

#include <sys/socket.h>

#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

#include "core/socket.h"

struct ConnectedSockets {
    ConnectedSockets() {
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) std::abort();
        near = Socket{ends[0]};
        far = Socket{ends[1]};
    }
    Socket near, far;
};

constexpr std::size_t kWhatFits = 64 * 1024;  // a socket takes this without a reader

// The socket of a peer that has sent everything and closed.
inline Socket fed_socket(std::string_view sent) {
    ConnectedSockets ends;
    if (!socket_send_all(ends.far.fd(), sent)) std::abort();
    return std::move(ends.near);
}

// Everything that is there until the peer closes.
inline std::string read_to_end(const Socket& socket) {
    std::string text(kWhatFits + 1, '\0');
    const ssize_t n = recv(socket.fd(), text.data(), text.size(), MSG_WAITALL);
    text.resize(n < 0 ? 0 : static_cast<std::size_t>(n));
    return text;
}
