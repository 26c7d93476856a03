// The socket of a peer that has sent everything and closed.
#pragma once

#include <sys/socket.h>

#include "core/socket.h"
#include "target.h"

constexpr std::size_t kWhatFits = 16 * 1024;  // a socket takes this without a reader

inline Socket fed_socket(std::string_view sent) {
    int ends[2];
    require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0);
    const Socket writer{ends[1]};
    require(socket_send_all(writer.fd(), sent));
    return Socket{ends[0]};
}
