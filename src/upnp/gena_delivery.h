// One event on its way to one subscriber.
#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <string>
#include <string_view>

// Tries the URLs of a callback in turn until one takes the whole message; no answer is read. Over within five seconds
// (not counting the look-up of a host name). False if none accepted it.
bool gena_deliver(std::string_view callback, std::uint32_t sid, std::int32_t seq, std::string_view body);

// Whether an event may go there: loopback, link-local and private addresses (RFC 1122, 3927, 1918) and the subnets that
// this machine is on. A callback comes from whoever sends a SUBSCRIBE; the rest of the world is none of its business.
bool gena_may_contact(in_addr address);
