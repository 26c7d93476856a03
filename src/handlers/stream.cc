#include "handlers/stream.h"

#include <poll.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/file.h"
#include "core/log.h"
#include "core/settings.h"
#include "core/settings_table.h"
#include "core/str.h"
#include "core/thread.h"
#include "db/objects.h"
#include "db/store.h"
#include "handlers/now_playing.h"
#include "handlers/pacing.h"
#include "http/file_sender.h"
#include "http/range.h"
#include "http/request.h"
#include "http/respond.h"
#include "meta/media_formats.h"
#include "upnp/protocol_info.h"

namespace {

constexpr std::int64_t kLeastUnit = 1024;
// Bytes that one call hands to the system: so many that calls cost nothing, so few that the now-playing page moves on.
constexpr std::int64_t kPieceBytes = 1024 * 1024;

// The smallest unit of a transfer in bytes, by the content type of the response.
std::int64_t unit_of(std::string_view content_type) {
    const bool picture = content_type == "image/jpeg" || content_type == "image/x-ycbcr-yuv420";
    const Setting setting = picture                              ? Setting::picturebuffer
                            : content_type.starts_with("video/") ? Setting::videobuffer
                                                                 : Setting::musicbuffer;
    return std::max<std::int64_t>(settings_get_int(setting), kLeastUnit);
}

std::string content_type_of(std::string_view url, std::string_view path) {
    // Only the type differs: the bytes are those of the stored file, whose name tells its rate and channels.
    if (str_ends_nocase(url, ".lpcm")) return lpcm_type(path);
    const std::string_view type = mime_of_extension(path_extension(path));
    return std::string{type.empty() ? "application/octet-stream" : type};
}

// Kept on purpose: milliseconds times bytes per second, so a client that seeks by seconds lands a thousand times too
// far. Only the low 32 bits of the rate are used, and the product wraps.
std::int64_t time_seek_offset(std::int64_t milliseconds, std::int64_t size, std::int32_t seconds) {
    const std::uint64_t rate = static_cast<std::uint32_t>(size / seconds);
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(milliseconds) * rate);
}

// last - first + 1, wrapping at the far end of 64 bits.
std::int64_t range_length(std::int64_t first, std::int64_t last) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(last) - static_cast<std::uint64_t>(first) + 1u);
}

struct Transfer {
    std::string_view url;     // of the file, for the log
    ObjectId id = kNoObject;  // as the URL gave it: an item's or a reference's
    std::int32_t seconds = 0;
    std::int64_t asked_first = -1;  // -1: no range asked for
    std::int64_t offset = 0;        // where it starts in the file
    std::int64_t length = 0;        // what the file has for it; the response may announce another length
};

// Fills the response's status, length and range, and the part of the file that answers the range.
void settle_range(HttpResponse& response, Transfer& transfer, ByteRange range, std::int64_t size) {
    if (range.first >= 0 && range.time_seek && transfer.seconds != 0) {
        range.first = time_seek_offset(range.first, size, transfer.seconds);
        if (range.last >= 0) range.last = time_seek_offset(range.last, size, transfer.seconds);
    }
    response.content_length = size;
    response.range_total = size;
    transfer.asked_first = range.first;

    if (range.first >= 0) {
        response.status = 206;
        // Kept on purpose: a last byte equal to the size stays, and announces one byte more than there is. A first byte
        // after the end makes the length negative: it is not announced then, and nothing is sent. The last byte of an
        // empty file is -1.
        if (range.last < 0 || range.last > size) range.last = size - 1;
        response.range_first = range.first;
        response.range_last = range.last;
        response.content_length = range_length(range.first, range.last);
        transfer.offset = range.first;
    }
    const std::int64_t left = std::max<std::int64_t>(size - transfer.offset, 0);
    transfer.length = std::clamp<std::int64_t>(response.content_length, 0, left);
}

// Waits between two parts of a paced transfer; returns early if the connection ends.
void pause_sending(int socket, std::int32_t milliseconds) {
    pollfd connection{.fd = socket, .events = 0, .revents = 0};  // poll always reports an end or a reset
    if (milliseconds > 0) poll(&connection, 1, milliseconds);
}

// Sends in pieces of whole units. A paced transfer also stops after each stretch, so that the client's buffer is never
// far ahead of what it plays.
HandlerResult send_body(const HttpRequest& request, const HttpResponse& response, const File& file,
                        const Transfer& transfer) {
    const std::int64_t unit = unit_of(response.content_type);
    const std::int64_t piece = std::max(kPieceBytes / unit, std::int64_t{1}) * unit;
    const std::int32_t rate = pacing_rate(response.range_total, transfer.seconds);
    const bool paced = transfer.seconds > 0 && request.client.music_only;
    const std::int64_t stretch = pacing_stretch(rate, unit);
    const std::uint32_t started = uptime_ms();

    FileSender sender{request.socket, file, transfer.offset};
    std::int64_t sent = 0;
    std::int64_t since_pause = 0;
    // Kept on purpose: without a range the position shown counts from -1.
    now_playing_update(request.peer, transfer.id, transfer.asked_first);
    while (sent < transfer.length) {
        std::int64_t wanted = std::min(piece, transfer.length - sent);
        if (paced) wanted = std::min(wanted, stretch - since_pause);
        const auto n = sender.send(wanted);
        if (!n) {
            log_message(LOG_INFO, LOG_HTTP, "send (%s): %s", request.peer.c_str(), error_text().c_str());
            return HandlerResult::close;
        }
        sent += *n;
        since_pause += *n;
        now_playing_update(request.peer, transfer.id, transfer.asked_first + sent);
        if (*n < wanted) {
            log_message(LOG_INFO, LOG_HTTP, "file ended before its time (%s)\n", std::string{transfer.url}.c_str());
            break;
        }
        if (paced && since_pause >= stretch && sent < transfer.length) {
            pause_sending(request.socket, pacing_delay_ms(sent, uptime_ms() - started, rate));
            since_pause = 0;
        }
    }
    // A client that was promised more bytes would wait for them; closing the connection ends that.
    return sent == response.content_length ? HandlerResult::keep : HandlerResult::close;
}

// url is that of a "/disk" request.
HandlerResult send_media(const HttpRequest& request, HttpResponse& response, std::string_view url,
                         const ByteRange& range) {
    const auto id_text = str_after(url, "disk/");
    if (!id_text) return HandlerResult::close;
    const auto resource = db_get_resource(*id_text);
    if (!resource) return http_send_not_found(request, response, url);

    std::string path = resource->path;
    if (url.size() > 4 && url.ends_with(".idx")) path = idx_path_for(path).value_or(path);
    const auto status = file_status(path);
    if (!status || !status->regular) return http_send_not_found(request, response, url);
    // Counts as played from here on, even for a HEAD or a file that may not be read.
    db_played(*id_text);
    const File file = file_open_regular(path);
    if (!file) return http_send_not_found(request, response, url);

    Transfer transfer{.url = url, .id = text_int(*id_text), .seconds = resource->seconds};
    response.content_type = content_type_of(url, path);
    response.extra_headers += dlna_response_headers(request.header, response.content_type, path);
    settle_range(response, transfer, range, status->size);
    if (transfer.length != response.content_length) response.close = true;

    const bool body = request.method != kHead;
    if (!http_send_header(request, response, body && transfer.length > 0 ? BodyFollows::yes : BodyFollows::no))
        return HandlerResult::close;
    return body ? send_body(request, response, file, transfer) : HandlerResult::keep;
}

}  // namespace

HandlerResult handle_disk(const HttpRequest& request, HttpResponse& response) {
    response.answers_time_seek = http_asks_for_time(request.header);
    return send_media(request, response, request.url, http_parse_range(request.header));
}

HandlerResult handle_continue(const HttpRequest& request, HttpResponse& response) {
    const std::string_view url = request.url;
    const std::size_t mark = url.find("continue/");
    const auto id_text = str_after(url, "continue/");
    if (!id_text) return HandlerResult::close;
    const auto resource = db_get_resource(*id_text);
    if (!resource) return http_send_not_found(request, response);

    const std::string disk_url =
        text_format(256, "%sdisk/%ld.%s", std::string{url.substr(0, mark)}.c_str(),
                    static_cast<long>(text_int(*id_text)), std::string{path_extension(resource->path)}.c_str());
    // Only the offset in the URL counts; range headers of the client are ignored.
    const auto offset = str_after(*id_text, "_");
    const std::int64_t first = offset ? std::max<std::int64_t>(text_int64(*offset), 0) : 0;
    return send_media(request, response, disk_url, {.first = first});
}

Text idx_path_for(std::string_view media_path) {
    const Text directory = settings_get(Setting::idxdir);
    if (!directory || directory->empty()) return std::nullopt;
    std::string path{str_left(*directory, 1024)};
    if (!path.ends_with('/')) path += '/';
    // Kept on purpose: a file directly below "/" has no index file.
    const std::size_t slash = media_path.rfind('/');
    if (slash != std::string_view::npos && slash > 0) path.append(media_path.substr(slash + 1)).append(".idx");
    return path;
}
