// How it works
//
// A request takes these steps: read the URL, find the item, wait for the turn, load, scale, encode, send.
// handle_picture(), at the end of the file, is that list; the functions before it stand in the same order. Loading to
// encoding happen within the turn. Sending may take minutes, so it keeps nothing but the finished bytes.
#include "handlers/picture_page.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <optional>
#include <string>

#include "core/file.h"
#include "core/settings.h"
#include "core/settings_table.h"
#include "core/socket.h"
#include "core/str.h"
#include "core/thread.h"
#include "db/store.h"
#include "handlers/picture_load.h"
#include "handlers/picture_turn.h"
#include "http/request.h"
#include "http/respond.h"
#include "meta/icon.h"
#include "meta/jpeg_codec.h"
#include "meta/planar.h"
#include "meta/scale.h"
#include "upnp/client_profile.h"
#include "upnp/protocol_info.h"

namespace {

constexpr int kMaxSide = 4096;
constexpr int kLeastOverlayWidth = 201;  // in narrower pictures a description could not be read
constexpr std::size_t kSendUnit = 16384;

// Nobody pauses a picture, so a client that takes nothing for a minute has gone. Ten minutes for all of it are enough
// for the largest picture at 56 kB/s.
constexpr int kSendMs = 60'000;
constexpr std::uint32_t kSendAllMs = 600'000;

// ---- reading the URL, finding the item

bool is_side(int pixels) {
    return pixels >= 1 && pixels <= kMaxSide;
}

// The server's icon, drawn at the size asked for. The URL names some item, but its file is not looked at.
bool asks_for_icon(const PictureUrl& url) {
    return str_contains(url.suffix, ".goicon");
}

// Whether another server has the picture is seen when it is fetched; if not, the client gets the placeholder.
bool can_be_opened(const std::string& path) {
    if (path.starts_with("http://")) return true;
    const auto status = file_status(path);
    return status && status->regular;
}

// The text to draw into the picture, for clients that do not show the item's description themselves.
Text description_to_draw(const HttpRequest& request, const PictureUrl& url) {
    if (asks_for_icon(url) || url.width < kLeastOverlayWidth || !settings_get_bool(Setting::descriptions)) return {};
    if (request.client.profile->draws_descriptions) return {};
    return db_get_description(url.id_text);
}

// ---- waiting for the turn

// The most that a pixel takes when encoded, in half bytes. JPEG needs 0.8 bytes for noise, its worst case.
int half_bytes_of_pixel(std::string_view suffix) {
    if (str_contains(suffix, ".tini")) return 4;
    return str_contains(suffix, ".yuv") ? 3 : 2;
}

std::int64_t most_bytes(const PictureUrl& url, const PictureSource& source) {
    const bool original_size = url.mode == kModeOriginal && !asks_for_icon(url);
    const std::int64_t pixels = original_size ? picture_source_pixels(source) : std::int64_t{url.width} * url.height;
    return pixels * half_bytes_of_pixel(url.suffix) / 2;
}

// ---- load, scale, encode

RgbPicture load_scaled(const PictureUrl& url, const PictureSource& source) {
    if (asks_for_icon(url)) return picture_resize(icon_draw(), url.width, url.height);
    return jpeg_load_scaled(source, url.width, url.height, url.mode);
}

// Where a description would be drawn into a picture. Draws nothing yet.
void overlay_description(RgbPicture& /*picture*/, std::string_view /*description*/) {}

std::optional<std::string> encode(const RgbPicture& picture, std::string_view suffix) {
    if (str_contains(suffix, ".tini")) return tini_encode(picture);
    if (str_contains(suffix, ".yuv")) return yuv420_encode(picture);
    return jpeg_encode(picture);
}

// The bytes to send. Returns nullopt if memory is out, or if a JPEG cannot have that size.
std::optional<std::string> render(const PictureUrl& url, const PictureSource& source, const Text& description) try {
    RgbPicture picture = load_scaled(url, source);
    if (description && !description->empty()) overlay_description(picture, *description);
    return encode(picture, url.suffix);
} catch (const std::bad_alloc&) {
    return std::nullopt;
}

// ---- sending

HandlerResult send_picture(const HttpRequest& request, HttpResponse& response, std::string_view bytes) {
    const bool with_body = request.method != kHead && !bytes.empty();
    response.content_length = static_cast<std::int64_t>(bytes.size());
    // Earlier answers that the client does not read would hold the header up for ever.
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
    // Cuts the text before a mark off the URL, and the mark with it.
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

    const auto item = db_get_resource(url->id_text);
    if (!item) return http_send_not_found(request, response);
    if (!asks_for_icon(*url) && !can_be_opened(item->path)) return http_send_not_found(request, response);
    const Text description = description_to_draw(request, *url);

    auto source = asks_for_icon(*url) ? PictureSource{} : picture_open(item->path);
    if (!source) return http_send_not_found(request, response);
    auto turn = picture_take_turn(request.socket, most_bytes(*url, *source));
    if (!turn) return HandlerResult::close;

    std::optional<std::string> bytes;
    turn->run([&] { bytes = render(*url, *source, description); });

    // While the client reads, it holds nothing but the finished picture.
    turn->finish(bytes ? bytes->size() : 0);
    source.reset();
    if (!bytes) return http_send_not_found(request, response);

    // Kept on purpose: the raw forms, too, are announced as JPEG.
    response.content_type = "image/jpeg";
    response.extra_headers += dlna_response_headers(request.header, response.content_type, item->path);
    return send_picture(request, response, *bytes);
}
