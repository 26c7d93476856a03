// The texts of eventing (UPnP Device Architecture 1.0, chapter 4): what a SUBSCRIBE asks for, where a callback points,
// and what an event says.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/str.h"

// The services that have events, as bits.
constexpr unsigned kContentDirectoryEvents = 1, kConnectionManagerEvents = 2;
// By the names that occur in the URL.
unsigned gena_services_of(std::string_view url);

struct SubscribeHeader {
    std::int32_t timeout = 0;          // seconds, as asked; 0 when not asked or not a number
    std::optional<std::uint32_t> sid;  // of a renewal
    Text callback;                     // from its first "<" on; nullopt if there is none or its line does not end
};
SubscribeHeader gena_parse_subscribe(std::string_view header);

// The number that UNSUBSCRIBE names; nullopt without a SID header.
std::optional<std::uint32_t> gena_parse_unsubscribe(std::string_view header);

struct CallbackUrl {
    std::string host;       // to connect to
    int port = 80;          // 0 where it is no port
    std::string host_port;  // as the URL has it
    std::string path;
};
// The "http:" URLs of a callback up to the first that has no path. A URL that would put blanks or line ends into the
// request is left out.
std::vector<CallbackUrl> gena_callback_urls(std::string_view callback);

std::string gena_notify_message(const CallbackUrl& url, std::uint32_t sid, std::int32_t seq, std::string_view body);

std::string gena_update_id_body(std::int32_t system_update_id, std::string_view container_update_ids);
std::string gena_cm_body(std::string_view source, std::string_view sink);
