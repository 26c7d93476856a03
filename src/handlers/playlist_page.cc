#include "handlers/playlist_page.h"
#include <cstdint>
#include <optional>

#include "core/process_wide.h"
#include "core/semaphore.h"
#include "core/str.h"
#include "db/m3u.h"
#include "http/request.h"
#include "http/respond.h"

namespace {

// Bounds the memory of texts that slow clients have not read yet. The longest possible text is reserved before its size
// is known, and the rest is returned afterwards.
struct UnsentPlaylists {
    Semaphore bytes{64'000'000};
};
constexpr std::int64_t kLongest = std::int64_t{kMaxM3uBytes} + 1'100'000;
constexpr int kWaitMs = 30'000;

}  // namespace

HandlerResult handle_m3u(const HttpRequest& request, HttpResponse& response) {
    const auto id_text = str_after(request.url, "m3u/");
    if (!id_text) {
        response.status = 500;
        return http_send_header(request, response) ? HandlerResult::keep : HandlerResult::close;
    }
    auto unsent = Reservation::take(process_wide<UnsentPlaylists>().bytes, kLongest, kWaitMs);
    const auto text = unsent ? m3u_container(request.base_url, *id_text) : std::nullopt;
    if (!text) return http_send_not_found(request, response);
    unsent->resize(static_cast<std::int64_t>(text->size()));
    return http_send_text(request, response, "audio/x-mpegurl", *text);
}
