#include "upnp/ssdp_sockets.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <cstdint>
#include <string>
#include <utility>

#include "core/log.h"
#include "core/socket.h"
#include "upnp/ssdp_message.h"

namespace {

constexpr int kFurtherPorts = 100;
constexpr unsigned char kMulticastHops = 4;
constexpr timeval kSendLimit{.tv_sec = 0, .tv_usec = 20'000};

Socket udp_socket() {
    return Socket{socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
}

template <typename T>
bool set_option(const Socket& s, int level, int name, const T& value) {
    return setsockopt(s.fd(), level, name, &value, sizeof value) == 0;
}

bool bind_to(const Socket& s, const sockaddr_in& endpoint) {
    return bind(s.fd(), reinterpret_cast<const sockaddr*>(&endpoint), sizeof endpoint) == 0;
}

// Datagrams to a host that does not exist fill the socket's buffer until the system gives up, after some seconds. A
// limit of time keeps them from delaying the others.
bool limit_sending(const Socket& s) {
    return set_option(s, IPPROTO_IP, IP_MULTICAST_TTL, kMulticastHops) &&
           set_option(s, SOL_SOCKET, SO_SNDTIMEO, kSendLimit);
}

// Closes the socket and keeps errno, which says why it failed.
Socket failed(Socket s) {
    const int reason = errno;
    s.close();
    errno = reason;
    return {};
}

}  // namespace

sockaddr_in ssdp_group() {
    return ipv4_endpoint(ipv4_parse(kSsdpGroup), kSsdpPort);
}

Socket ssdp_listening_socket(in_addr address) {
    Socket s = udp_socket();
    if (!s) return s;
    socket_reuse(s.fd());
    const int only_joined_here = 0;
    const ip_mreq membership{.imr_multiaddr = ssdp_group().sin_addr, .imr_interface = address};
    const bool ready = set_option(s, IPPROTO_IP, IP_MULTICAST_ALL, only_joined_here) && bind_to(s, ssdp_group()) &&
                       set_option(s, IPPROTO_IP, IP_ADD_MEMBERSHIP, membership);
    return ready ? std::move(s) : failed(std::move(s));
}

Socket ssdp_reply_socket(in_addr address, std::uint16_t first_port) {
    Socket s = udp_socket();
    if (!s) return s;
    if (!limit_sending(s)) return failed(std::move(s));
    for (int further = 0; further <= kFurtherPorts; ++further) {
        if (bind_to(s, ipv4_endpoint(address, static_cast<std::uint16_t>(first_port + further)))) return s;
    }
    return failed(std::move(s));
}

Socket ssdp_announcing_socket(in_addr address) {
    Socket s = udp_socket();
    if (!s) return s;
    const bool ready = set_option(s, IPPROTO_IP, IP_MULTICAST_IF, address) && limit_sending(s);
    return ready ? std::move(s) : failed(std::move(s));
}

bool ssdp_send(int socket, const sockaddr_in& to, const std::string& message) {
    log_message(LOG_INFO, LOG_SSDP, "### SSDP sending:\n%s\n", message.c_str());
    for (;;) {
        const ssize_t n = sendto(socket, message.data(), message.size(), MSG_NOSIGNAL,
                                 reinterpret_cast<const sockaddr*>(&to), sizeof to);
        if (n >= 0 || errno != EINTR) return n >= 0;
    }
}
