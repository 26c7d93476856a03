// The handlers that see every datagram of the discovery group, in the order in which they were registered. Filled at
// start-up, before the first listen thread runs; any thread may call.
#pragma once

#include <netinet/in.h>

#include <string_view>
#include <vector>

struct SsdpInstance;

// packet: the datagram up to its first NUL, at most 1024 bytes. instance: where it arrived. sender: IPv4 address and
// port.
using PacketHandler = void (*)(std::string_view packet, SsdpInstance& instance, const sockaddr_in& sender);

constexpr std::size_t kMaxPacketHandlers = 9;

// The name is for the log only. A null function and a tenth handler are refused with a log line.
void register_callback_handler(PacketHandler function, std::string_view name);
std::vector<PacketHandler> callback_handlers();
