// Request headers, whatever a connection sends: what is read from them keeps its bounds, no line of the request ends up
// in its URL, and no blank and no line end of a SUBSCRIBE gets into the event that answers it.
#include "http/range.h"
#include "http/request.h"
#include "target.h"
#include "upnp/gena_message.h"

void fuzz(Bytes input) {
    HttpRequest request;
    request.header = as_text(input);
    http_parse_request(request);
    require(request.url.size() <= 255 && request.url.find_first_of("\r\n ") == std::string::npos);
    require(request.version == 11 || (request.version == 10 && request.asks_for_close));
    require(http_announced_body(request.header).length >= 0);

    const ByteRange range = http_parse_range(request.header);
    require(range.last >= -1 && (range.last < 0 || range.last >= range.first));
    require(!range.time_seek || range.first >= -1);
    require(parse_npt_time(request.header) >= 0);

    gena_parse_unsubscribe(request.header);
    const Text callback = gena_parse_subscribe(request.header).callback;
    require(!callback || (!callback->empty() && callback->find('\n') == std::string::npos));
    for (const CallbackUrl& url : gena_callback_urls(callback.value_or(""))) {
        require(url.port >= 0 && url.port <= 65535 && url.path.starts_with('/'));
        require((url.path + url.host_port + url.host).find_first_of(" \t\r\n") == std::string::npos);
        require(str_contains(gena_notify_message(url, 1, 2, ""), "\r\nNT: upnp:event\r\n"));
    }
}
