// The UDP sockets of discovery, each bound to one interface. Each function returns an empty socket (errno says why) if
// it fails.
#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <string>

#include "core/socket.h"

constexpr std::uint16_t kReplyPort = 9080;       // first port tried for answers
constexpr std::uint16_t kExtraReplyPort = 1030;  // the same for the further socket

// Hears the discovery group, and only what arrives on the interface that has the address. The port is shared with other
// programs of the machine.
Socket ssdp_listening_socket(in_addr address);
// Bound to the address, on first_port or one of the 100 above it.
Socket ssdp_reply_socket(in_addr address, std::uint16_t first_port);
// For announcements to the group through the interface that has the address. This machine hears them as well.
Socket ssdp_announcing_socket(in_addr address);

sockaddr_in ssdp_group();

// Sends one datagram; waits at most 20 ms for room in the socket. False if it was not sent. That need not be reported:
// the next announcement or search repairs it.
bool ssdp_send(int socket, const sockaddr_in& to, const std::string& message);
