#include "handlers/playlist_page.h"

#include <string_view>

#include "core/process_wide.h"
#include "core/semaphore.h"
#include "db/m3u.h"
#include "http/respond.h"

namespace {

// Texts that wait for clients to take them.
struct UnsentPlaylists {
    Semaphore bytes{64'000'000};
};
constexpr std::int64_t kLongest = std::int64_t{kMaxM3uBytes} + 1'100'000;
constexpr int kWaitMs = 30'000;

}  // namespace

HandlerResult handle_m3u(HttpRequest& request) {
    constexpr std::string_view kMark = "m3u/";
    const std::string_view url = request.url;
    const std::size_t mark = url.find(kMark);
    if (mark == std::string_view::npos)
        return http_send_header(request, 500) ? HandlerResult::keep : HandlerResult::close;
    auto unsent = Reservation::take(process_wide<UnsentPlaylists>().bytes, kLongest, kWaitMs);
    const auto text = unsent ? m3u_container(request.base_url, url.substr(mark + kMark.size())) : std::nullopt;
    if (!text) return http_send_not_found(request);
    unsent->resize(static_cast<std::int64_t>(text->size()));
    return http_send_text(request, 200, "audio/x-mpegurl", *text);
}
