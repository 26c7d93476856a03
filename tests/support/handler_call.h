// Runs one HTTP handler over a socket pair, the way a connection thread would, and takes its answer apart.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "http/request.h"
#include "support/http_peer.h"

struct HandlerAnswer {
    HandlerResult result = HandlerResult::keep;
    std::string status_line;
    std::string head;  // every header line, status line included
    std::string body;

    // The value of a header line; "(none)" when the answer has no such line.
    std::string header(std::string_view name) const;
};

// A request as the server hands it on; lines are further header lines, each ending in "\r\n".
HttpRequest request_for(std::string_view url, std::string_view lines = {}, std::uint32_t method = kGet);

HandlerAnswer call_handler(HttpHandler handler, HttpRequest request);
HandlerAnswer call_handler(HttpHandler handler, std::string_view url, std::string_view lines = {},
                           std::uint32_t method = kGet);

// Everything that arrives until the other side ends, or until there are limit bytes.
std::string receive_up_to(int socket, std::size_t limit);
