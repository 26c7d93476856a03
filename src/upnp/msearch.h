// Reading an M-SEARCH: what a control point looks for, how long it is willing to wait, and whether the packet gives
// away a client that needs special treatment. Pure; forgiving where clients in the field are sloppy.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "upnp/client_profile.h"

constexpr std::size_t kMaxPacketBytes = 1024;
constexpr std::size_t kMaxTargetBytes = 128;

struct SearchRequest {
    std::string target;               // ST, cut to kMaxTargetBytes; empty when the packet names none
    unsigned max_wait = 5;            // MX in seconds, 1 to 120
    std::vector<ClientKind> senders;  // the kinds of client that the packet names, in the order to record them
};

// Returns nullopt if the packet is no M-SEARCH or lacks its HOST, ST or MAN line. Only the first kMaxPacketBytes up to
// a NUL are read.
std::optional<SearchRequest> msearch_parse(std::string_view packet);

// The seconds to wait before answering, for a random number and the MX of the search.
unsigned msearch_delay(unsigned random_number, unsigned max_wait);
