// A request as handlers see it, and the response header that a handler fills. The handler sends the whole response
// itself: usually http_send_header (http/respond.h) and then the body.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

enum HttpMethod : std::uint32_t {
    kGet = 1,
    kHead = 2,
    kPost = 4,
    kSubscribe = 8,
    kUnsubscribe = 16,
    kNotify = 32,
};

// What happens to the connection after the response. Handlers never close it themselves: its descriptor could be reused
// before its thread knows.
enum class HandlerResult { keep, close };

struct ClientProfile;  // upnp/client_profile.h; the server only carries it along

// The client of a request, as the recogniser knew it when the header had been read.
struct RequestClient {
    const ClientProfile* profile = nullptr;  // never null where handlers run
    bool needs_close = false;                // every answer closes the connection
    bool music_only = false;
};

// What was read of a request. Handlers change nothing in it.
struct HttpRequest {
    int socket = -1;
    std::uint32_t method = 0;  // one HttpMethod bit; 0 for an unknown method
    std::string url;           // the request target as sent, at most 255 characters
    int version = 10;          // 11 when the request line says "HTTP/1.1" after the target
    bool asks_for_close = false;
    std::string header;    // request line and header lines as received, at most 1023 characters
    std::string content;   // the body of a POST or NOTIFY
    std::string peer;      // the client's address in dotted form
    std::string base_url;  // "http://address:port/" of the listener that was asked
    RequestClient client;
};

// What the response header says. A handler fills it and sends it.
struct HttpResponse {
    int status = 200;
    std::string content_type;
    std::int64_t content_length = 0;  // negative: unknown; no Content-Length line is sent, and the connection ends
    bool close = false;               // the connection is closed after this response
    std::string extra_headers;        // further header lines, each ending in "\r\n"
    // For the Content-Range line of a 206; a negative total: extra_headers holds that line.
    std::int64_t range_first = 0, range_last = 0, range_total = 0;
    bool answers_time_seek = false;  // its 206 goes out as "200 OK"
};

using HttpHandler = HandlerResult (*)(const HttpRequest&, HttpResponse&);

// One row of the URL table. In order: the first row whose methods and prefix fit gets the request.
struct UrlRoute {
    std::string_view prefix;  // may be empty: any URL
    std::uint32_t methods;
    HttpHandler handler;
};

// Fills method, url, version and asks_for_close from any header text. Absent parts stay empty; a request line that
// names neither has version 10 and an unknown method.
void http_parse_request(HttpRequest& request);

// The body that a request header announces.
struct AnnouncedBody {
    // unreadable: a length that is no number, or two lengths
    enum class Coding { none, by_length, chunked, unreadable };
    Coding coding = Coding::none;
    std::int64_t length = 0;  // saturated, not negative
};
AnnouncedBody http_announced_body(std::string_view header);
