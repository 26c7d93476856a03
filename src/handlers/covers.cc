#include "handlers/covers.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "core/file.h"
#include "core/str.h"
#include "db/store.h"
#include "http/file_sender.h"
#include "http/request.h"
#include "http/respond.h"
#include "meta/embedded_picture.h"
#include "meta/file_window.h"
#include "meta/media_formats.h"

namespace {

HandlerResult send_picture(const HttpRequest& request, HttpResponse& response, const File& file,
                           std::uint64_t file_size, const EmbeddedPicture& picture) {
    const std::uint64_t there = std::min(picture.length, file_size - picture.offset);
    // Kept on purpose: the length that the tag says, even where the file ends before. The connection ends there, too.
    if (there < picture.length) response.close = true;
    response.content_type = picture.mime;
    response.content_length = static_cast<std::int64_t>(picture.length);
    const bool with_body = request.method != kHead;
    if (!http_send_header(request, response, with_body ? BodyFollows::yes : BodyFollows::no))
        return HandlerResult::close;
    if (!with_body) return HandlerResult::keep;
    FileSender sender{request.socket, file, static_cast<std::int64_t>(picture.offset)};
    const auto sent = sender.send(static_cast<std::int64_t>(there));
    return sent == response.content_length ? HandlerResult::keep : HandlerResult::close;
}

// The format whose "albumart-EXTENSION" the URL begins with; null if there is none.
const MediaFormat* format_of_url(std::string_view url) {
    constexpr std::string_view kStart = "/albumart-";
    if (!url.starts_with(kStart)) return nullptr;
    const std::span<const MediaFormat> formats = media_formats();
    const auto row = std::ranges::find_if(formats, [rest = url.substr(kStart.size())](const MediaFormat& format) {
        return format.find_cover != nullptr && rest.starts_with(format.extension);
    });
    return row != formats.end() ? &*row : nullptr;
}

}  // namespace

HandlerResult handle_cover(const HttpRequest& request, HttpResponse& response) {
    const MediaFormat* const format = format_of_url(request.url);
    if (format == nullptr) return http_send_not_found(request, response);
    const std::string mark = std::string{"albumart-"}.append(format->extension).append("/");
    const auto id_text = str_after(request.url, mark);
    const auto resource = id_text ? db_get_resource(*id_text) : std::nullopt;
    if (!resource) return http_send_not_found(request, response);
    const File file = file_open_regular(resource->path);
    const auto status = file ? file.status() : std::nullopt;
    if (!status) return http_send_not_found(request, response);
    FileWindow window{file, static_cast<std::uint64_t>(status->size)};
    const auto picture = format->find_cover(window);
    return picture ? send_picture(request, response, file, window.size(), *picture)
                   : http_send_not_found(request, response);
}
