// One request on a connection, from its first byte to the end of its answer.
#pragma once

#include <string>
#include <string_view>

#include "http/request.h"

struct HttpConnection {
    int socket = -1;
    std::string peer;      // its address in dotted form
    std::string base_url;  // "http://address:port/" of the listener
};

// Tells who asks, from the request header and the client's address, and may learn from them. Called for every request
// before its body is read; the request waits for it, also while it fetches the client's own description.
using ClientRecogniser = RequestClient (*)(std::string_view header, std::string_view peer);
// Once, before the first listener opens.
void http_set_client_recogniser(ClientRecogniser recogniser);

// Waits for a request, reads it, has its client recognised and hands it to its handler. Returns close also if the
// connection cannot go on: no request came, it was broken or too large, or its answer has no announced end.
HandlerResult http_answer_request(const HttpConnection& connection);
