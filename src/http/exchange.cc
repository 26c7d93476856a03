#include "http/exchange.h"

#include <malloc.h>

#include <cstddef>
#include <string_view>
#include <utility>

#include "core/log.h"
#include "core/process_wide.h"
#include "core/socket.h"
#include "core/str.h"
#include "http/request.h"
#include "http/respond.h"
#include "http/url_table.h"
#include "net/body.h"
#include "net/read.h"

namespace {

constexpr BodyLimits kBodyLimits{.bytes = 1024 * 1024, .silence_ms = kReadDeadlineMs, .deadline_ms = kReadDeadlineMs};

// Parsing a body of this size takes so much memory that it is worth handing back.
constexpr std::size_t kLargeBodyBytes = 64 * 1024;

constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\nContent-Length: 0\r\n\r\n";

struct Recognition {
    ClientRecogniser recogniser = nullptr;
};
Recognition& recognition() {
    return process_wide<Recognition>();
}

// Whether the header was cut off, at a NUL or because it did not fit. Where its body or the next request begins is then
// unknown, so the connection ends with this request.
bool is_cut(HttpRequest& request, HeaderEnd end) {
    const std::size_t nul = request.header.find('\0');
    if (nul != std::string::npos) request.header.resize(nul);
    return nul != std::string::npos || end == HeaderEnd::too_small;
}

// True also if the length is unreadable.
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

// False if the request cannot be answered: its body is too large, too slow, or malformed. If the client closed early,
// the request is answered with the part that came.
bool read_body(HttpRequest& request, const AnnouncedBody& announced) {
    ReadBody body = take_body(request.socket, announced);
    request.content = std::move(body.text);
    log_message(LOG_INFO, LOG_HTTP, "%s\n", request.content.empty() ? "- NO BODY RECEIVED -" : request.content.c_str());
    return body.end == BodyEnd::complete || body.end == BodyEnd::closed;
}

// Hands freed memory back to the system: the heaps of threads keep it, and parsing a body of one megabyte may take
// thirty. Declared before the request, so that it runs when the request's memory is free.
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

HandlerResult refuse(const HttpRequest& request, HttpResponse& response) {
    response.status = 500;
    http_send_header(request, response);
    return HandlerResult::close;
}

HandlerResult dispatch(const HttpRequest& request, HttpResponse& response) {
    const HttpHandler handler = http_find_handler(request.method, request.url);
    if (handler == nullptr) return refuse(request, response);
    const HandlerResult result = handler(request, response);
    // The client finds the end of a body without a length by the close.
    const bool last = response.close || response.content_length < 0;
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
    HttpResponse response;
    response.close = request.asks_for_close || cut || request.client.needs_close;
    log_message(LOG_INFO, LOG_HTTP, "%s\n", request.header.c_str());

    const AnnouncedBody announced = http_announced_body(request.header);
    const bool takes_body = request.method == kPost || request.method == kNotify;
    if (!takes_body && has_body(announced)) response.close = true;  // it stays unread
    const bool readable = !takes_body || read_body(request, cut ? AnnouncedBody{} : announced);
    if (!readable || request.content.size() > kLargeBodyBytes) trim.want();
    if (!readable) {
        response.close = true;
        return refuse(request, response);
    }
    return dispatch(request, response);
}
