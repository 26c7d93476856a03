#include "http/exchange.h"

#include <malloc.h>

#include <utility>

#include "core/log.h"
#include "core/process_wide.h"
#include "core/socket.h"
#include "core/str.h"
#include "http/respond.h"
#include "http/url_table.h"
#include "net/body.h"
#include "net/read.h"

namespace {

constexpr BodyLimits kBodyLimits{.bytes = 1024 * 1024, .silence_ms = kReadDeadlineMs, .deadline_ms = kReadDeadlineMs};

// What a body of this size is taken apart into is worth handing back.
constexpr std::size_t kLargeBodyBytes = 64 * 1024;

constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\nContent-Length: 0\r\n\r\n";

struct Recognition {
    ClientRecogniser recogniser = nullptr;
};
Recognition& recognition() {
    return process_wide<Recognition>();
}

// What follows a NUL or a header that did not fit is never looked at, be it a body or another request: the connection
// ends with this one.
bool is_cut(HttpRequest& request, HeaderEnd end) {
    const std::size_t nul = request.header.find('\0');
    if (nul != std::string::npos) request.header.resize(nul);
    return nul != std::string::npos || end == HeaderEnd::too_small;
}

// Also where nobody can tell how long it is.
bool has_body(const AnnouncedBody& announced) {
    const bool by_length = announced.coding == AnnouncedBody::Coding::by_length;
    return by_length ? announced.length > 0 : announced.coding != AnnouncedBody::Coding::none;
}

ReadBody take_body(int socket, const AnnouncedBody& announced) {
    switch (announced.coding) {
        case AnnouncedBody::Coding::chunked:
            return http_read_chunks(socket, kBodyLimits);
        case AnnouncedBody::Coding::by_length:
            return http_read_sized(socket, announced.length, kBodyLimits);
        case AnnouncedBody::Coding::unreadable:
            return {.text = {}, .end = BodyEnd::malformed};
        case AnnouncedBody::Coding::none:
            break;
    }
    return {};
}

// False when the request cannot be answered: too large, too slow or not to be told apart from what follows it. A body
// that the peer cut short is answered as far as it came.
bool read_body(HttpRequest& request, const AnnouncedBody& announced) {
    ReadBody body = take_body(request.socket, announced);
    request.content = std::move(body.text);
    log_message(LOG_INFO, LOG_HTTP, "%s\n", request.content.empty() ? "- NO BODY RECEIVED -" : request.content.c_str());
    return body.end == BodyEnd::complete || body.end == BodyEnd::closed;
}

// Threads free into heaps that keep what they have: what a body of one megabyte was taken apart into may be thirty.
// Made before the request, so that at its own end all of it is free to go back to the system.
class HeapTrim {
public:
    HeapTrim() = default;
    HeapTrim(const HeapTrim&) = delete;
    HeapTrim& operator=(const HeapTrim&) = delete;
    ~HeapTrim() {
        if (wanted_) malloc_trim(0);
    }
    void want() { wanted_ = true; }

private:
    bool wanted_ = false;
};

HandlerResult refuse(HttpRequest& request) {
    request.content_length = 0;
    http_send_header(request, 500);
    return HandlerResult::close;
}

HandlerResult dispatch(HttpRequest& request) {
    const HttpHandler handler = http_find_handler(request.method, request.url);
    if (handler == nullptr) return refuse(request);
    const HandlerResult result = handler(request);
    // The client finds the end of a body without a length by the close.
    const bool last = request.close || request.content_length < 0;
    return result == HandlerResult::keep && last ? HandlerResult::close : result;
}

}  // namespace

void http_set_client_recogniser(ClientRecogniser recogniser) {
    recognition().recogniser = recogniser;
}

HandlerResult http_answer_request(const HttpConnection& connection) {
    HeapTrim trim;
    HttpRequest request;
    request.socket = connection.socket;
    request.base_url = connection.base_url;
    request.peer = connection.peer;
    ReadHeader header = http_read_header(request.socket);
    if (header.end == HeaderEnd::none) {
        log_message(LOG_INFO, LOG_HTTP, "received no header in HTTP_send_receive, propably client closed socket!\n");
        return HandlerResult::close;
    }
    request.header = std::move(header.text);
    const bool cut = is_cut(request, header.end);
    if (str_contains_nocase(request.header, "100-continue")) socket_send_all(request.socket, kContinue);
    http_parse_request(request);
    request.client = recognition().recogniser(request.header, request.peer);
    if (cut || request.client.needs_close) request.close = true;
    log_message(LOG_INFO, LOG_HTTP, "%s\n", request.header.c_str());

    const AnnouncedBody announced = http_announced_body(request.header);
    const bool takes_body = request.method == kPost || request.method == kNotify;
    if (!takes_body && has_body(announced)) request.close = true;  // it stays unread
    const bool readable = !takes_body || read_body(request, cut ? AnnouncedBody{} : announced);
    if (!readable || request.content.size() > kLargeBodyBytes) trim.want();
    if (!readable) {
        request.close = true;
        return refuse(request);
    }
    return dispatch(request);
}
