#include "http/playlist_page.h"

#include <string_view>

#include "db/m3u.h"
#include "http/respond.h"

HandlerResult m3u_handler(HttpRequest& request) {
    constexpr std::string_view kMark = "m3u/";
    const std::string_view url = request.url;
    const std::size_t mark = url.find(kMark);
    if (mark == std::string_view::npos)
        return http_send_header(request, 500) ? HandlerResult::keep : HandlerResult::close;
    const auto text = m3u_container(request.base_url, url.substr(mark + kMark.size()));
    if (!text) return http_send_not_found(request);
    return http_send_text(request, 200, "audio/x-mpegurl", *text);
}
