// One request on a connection, from its first byte to the end of its answer.
#pragma once

#include <string>

#include "http/request.h"

struct HttpConnection {
    int socket = -1;
    std::string peer;      // its address in dotted form
    std::string base_url;  // "http://address:port/" of the listener
};

// Waits for a request, reads it, notes which kind of client it comes from and hands it to its handler. close also
// where the connection cannot go on: no request came, it was broken or too large, or its answer has no announced end.
HandlerResult http_answer_request(const HttpConnection& connection);
