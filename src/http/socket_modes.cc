#include "http/socket_modes.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

void socket_set_blocking(int socket, bool blocking) {
    const int flags = fcntl(socket, F_GETFL);
    fcntl(socket, F_SETFL, blocking ? flags & ~O_NONBLOCK : flags | O_NONBLOCK);
}

void socket_set_corked(int socket, bool corked) {
    const int value = corked;
    setsockopt(socket, IPPROTO_TCP, TCP_CORK, &value, sizeof value);
}
