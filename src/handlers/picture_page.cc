#include "handlers/picture_page.h"

#include <algorithm>
#include <new>
#include <string>

#include "core/file.h"
#include "core/semaphore.h"
#include "core/settings.h"
#include "core/socket.h"
#include "core/str.h"
#include "core/thread.h"
#include "db/store.h"
#include "handlers/picture_load.h"
#include "handlers/picture_turn.h"
#include "http/respond.h"
#include "meta/icon.h"
#include "meta/jpeg_codec.h"
#include "meta/planar.h"
#include "upnp/client_profile.h"
#include "upnp/protocol_info.h"

namespace {

constexpr int kMaxSide = 4096;
constexpr int kLeastOverlayWidth = 201;  // below it no description could be read
constexpr std::size_t kSendUnit = 16384;

// Nobody pauses a picture: a client that takes nothing for so long is gone. The largest picture in the longer time
// is 56 kB/s.
constexpr int kSendMs = 60'000;
constexpr std::uint32_t kSendAllMs = 600'000;

bool is_side(int pixels) {
    return pixels >= 1 && pixels <= kMaxSide;
}

std::optional<std::string> encode(const RgbPicture& picture, std::string_view suffix) {
    if (str_contains(suffix, ".tini")) return tini_encode(picture);
    if (str_contains(suffix, ".yuv")) return yuv420_encode(picture);
    return jpeg_encode(picture);
}

// What a pixel takes at the most, in half bytes. JPEG has 0.8 bytes for noise, the worst there is.
int half_bytes_of_pixel(std::string_view suffix) {
    if (str_contains(suffix, ".tini")) return 4;
    return str_contains(suffix, ".yuv") ? 3 : 2;
}

bool can_be_opened(const std::string& path) {
    if (path.starts_with("http://")) return true;
    const auto status = file_status(path);
    return status && status->regular;
}

bool wants_description(const PictureUrl& url, const HttpRequest& request) {
    return url.width >= kLeastOverlayWidth && settings_get_bool(Setting::descriptions) &&
           !request.client.profile->draws_descriptions;
}

// The finished bytes, with the memory they take accounted for. No bytes when they could not be made.
struct Rendered {
    std::optional<std::string> bytes;
    std::optional<Reservation> unsent;
};

// Missing when memory is out.
template <typename Work>
auto while_memory_lasts(Work work) -> std::optional<decltype(work())> {
    try {
        return work();
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
}

// Missing when there was no turn: nobody is there to have the picture any more.
template <typename Draw>
std::optional<Rendered> render(const PictureUrl& url, std::int64_t pixels, int socket, Draw draw) {
    auto turn = picture_take_turn(socket, pixels * half_bytes_of_pixel(url.suffix) / 2);
    if (!turn) return std::nullopt;
    Rendered rendered;
    const auto work = [&] {
        rendered.bytes = while_memory_lasts([&] { return encode(draw(), url.suffix); }).value_or(std::nullopt);
    };
    // One picture comes as fast as it can; when there are more, other answers must not wait for them.
    turn->alone() ? work() : run_giving_way(work);
    if (!rendered.bytes) return rendered;
    turn->unsent.resize(static_cast<std::int64_t>(rendered.bytes->size()));
    rendered.unsent = std::move(turn->unsent);
    return rendered;
}

std::optional<Rendered> render_icon(const PictureUrl& url, int socket) {
    return render(url, std::int64_t{url.width} * url.height, socket,
                  [&] { return picture_resize(icon_draw(), url.width, url.height); });
}

std::optional<Rendered> render_picture(const PictureUrl& url, const HttpRequest& request, const std::string& path) {
    const Text description = wants_description(url, request) ? db_get_description(url.id_text) : std::nullopt;
    const auto source = while_memory_lasts([&] { return picture_open(path); });
    if (!source) return Rendered{};
    const std::int64_t pixels =
        url.mode == kModeOriginal ? picture_source_pixels(*source) : std::int64_t{url.width} * url.height;
    return render(url, pixels, request.socket, [&] {
        RgbPicture picture = jpeg_load_scaled(*source, url.width, url.height, url.mode);
        if (has_text(description)) picture_overlay_description(picture, *description);
        return picture;
    });
}

HandlerResult send_picture(const HttpRequest& request, HttpResponse& response, std::string_view bytes) {
    const bool with_body = request.method != kHead && !bytes.empty();
    response.content_length = static_cast<std::int64_t>(bytes.size());
    // The header would wait for ever behind answers that nobody reads.
    if (!socket_wait_writable(request.socket, kSendMs)) return HandlerResult::close;
    if (!http_send_header(request, response, with_body ? BodyFollows::yes : BodyFollows::no))
        return HandlerResult::close;
    const std::uint32_t begun = uptime_ms();
    for (; with_body && !bytes.empty(); bytes.remove_prefix(std::min(kSendUnit, bytes.size()))) {
        if (uptime_ms() - begun > kSendAllMs) return HandlerResult::close;
        if (!socket_send_within(request.socket, bytes.substr(0, kSendUnit), kSendMs)) return HandlerResult::close;
    }
    return HandlerResult::keep;
}

}  // namespace

std::optional<PictureUrl> picture_parse_url(std::string_view url) {
    // The text up to a mark; what follows it is the rest.
    const auto take_until = [&url](std::string_view mark) -> std::optional<std::string_view> {
        const std::size_t at = url.find(mark);
        if (at == std::string_view::npos) return std::nullopt;
        const std::string_view head = url.substr(0, at);
        url.remove_prefix(at + mark.size());
        return head;
    };
    if (!take_until("picture/")) return std::nullopt;
    const auto id = take_until("("), width = take_until("x"), height = take_until(","), mode = take_until(")");
    if (!id || !width || !height || !mode) return std::nullopt;
    return PictureUrl{
        .id_text = *id, .width = text_int(*width), .height = text_int(*height), .mode = text_int(*mode), .suffix = url};
}

HandlerResult handle_picture(const HttpRequest& request, HttpResponse& response) {
    const auto url = picture_parse_url(request.url);
    if (!url || !is_side(url->width) || !is_side(url->height)) return http_send_not_found(request, response);
    const auto resource = db_get_resource(url->id_text);
    if (!resource) return http_send_not_found(request, response);

    const bool icon = str_contains(url->suffix, ".goicon");
    if (!icon && !can_be_opened(resource->path)) return http_send_not_found(request, response);
    const auto rendered = icon ? render_icon(*url, request.socket) : render_picture(*url, request, resource->path);
    if (!rendered) return HandlerResult::close;
    if (!rendered->bytes) return http_send_not_found(request, response);

    // Kept on purpose: the type is that of JPEG pictures for the raw forms, too.
    response.content_type = "image/jpeg";
    response.extra_headers += dlna_response_headers(request.header, response.content_type, resource->path);
    return send_picture(request, response, *rendered->bytes);
}

void picture_overlay_description(RgbPicture& /*picture*/, std::string_view /*description*/) {}
