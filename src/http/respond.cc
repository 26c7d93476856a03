#include "http/respond.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/log.h"
#include "core/socket.h"
#include "core/str.h"
#include "core/time_text.h"
#include "http/request.h"

namespace {

constexpr std::size_t kHeaderCapacity = 1024;
constexpr std::size_t kPageCapacity = 2048;  // a whole URL, each character an entity of six
constexpr const char* kUnknownType = "application/octet-stream";

// Kept on purpose: no blank after "Server:".
constexpr const char* kHeaderFormat =
    "%s\r\nContent-Type: %s\r\n%sDate: %s\r\nConnection: %s\r\n%s%sEXT:\r\n"
    "Server:Linux/2.x.x, UPnP/1.0, Pelorama UPnP SDK/1.0\r\n\r\n";

constexpr const char* kNotFoundFormat =
    "<HTML><HEAD><TITLE>404 Not Found</TITLE></HEAD><BODY><H1>Not Found</H1>"
    "%s was not found on this server.</BODY></HTML>";

struct ErrorLine {
    int status;
    const char* text;
};
constexpr auto kErrorLines = std::to_array<ErrorLine>({
    {404, "404 Not Found"},
    {412, "412 Precondition Failed"},
    {416, "416 Requested Range Not Satisfiable"},
    {500, "500 Internal Server Error"},
});

const char* error_line(int status) {
    for (const ErrorLine& row : kErrorLines) {
        if (row.status == status) return row.text;
    }
    return nullptr;
}

const char* status_line(int version, const HttpResponse& response) {
    if (const char* error = error_line(response.status)) return error;
    // Kept on purpose: a time seek is answered "200 OK", with the Content-Range line of a partial answer.
    const bool partial = response.status == 206 && version == 11 && !response.answers_time_seek;
    return partial ? "206 Partial Content" : "200 OK";
}

std::string range_line(int version, const HttpResponse& response) {
    if (response.status != 206 || version != 11 || response.range_total < 0) return {};
    return text_format(128, "Content-Range: bytes %lld-%lld/%lld\r\n", static_cast<long long>(response.range_first),
                       static_cast<long long>(response.range_last), static_cast<long long>(response.range_total));
}

std::string length_line(const HttpResponse& response) {
    if (response.content_length < 0) return {};
    return text_format(64, "Content-Length: %lld\r\n", static_cast<long long>(response.content_length));
}

std::string_view html_entity(char c) {
    switch (c) {
        case '&':
            return "&amp;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '"':
            return "&quot;";
        case '\'':
            return "&#39;";
        default:
            return {};
    }
}

}  // namespace

bool http_send_header(const HttpRequest& request, const HttpResponse& response, BodyFollows body) {
    const bool is_error = error_line(response.status) != nullptr;
    const char* type = is_error ? kHtmlType : response.content_type.c_str();
    if (*type == '\0') {
        log_message(LOG_ERROR, LOG_HTTP, "NO MIME TYPE given!\n%s\n%s\n", request.url.c_str(), request.content.c_str());
        type = kUnknownType;
    }
    const std::string status_text =
        text_format(128, "HTTP/1.%d %s", request.version == 11 ? 1 : 0, status_line(request.version, response));
    // Formats one byte more than may be sent, to detect a header that is too long. Cut off, it would have no end.
    const std::string header =
        text_format(kHeaderCapacity + 2, kHeaderFormat, status_text.c_str(), type, length_line(response).c_str(),
                    http_date().c_str(), response.close ? "close" : "keep-alive",
                    range_line(request.version, response).c_str(), response.extra_headers.c_str());
    if (header.size() > kHeaderCapacity) {
        log_message(LOG_ERROR, LOG_HTTP, "response header to long!\n%s\n%s\n", request.url.c_str(), header.c_str());
        return false;
    }
    return socket_send_all(request.socket, header, body == BodyFollows::yes ? SendHint::more_follows : SendHint::flush);
}

HandlerResult http_send_text(const HttpRequest& request, HttpResponse& response, std::string_view content_type,
                             std::string_view body) {
    response.content_type = content_type;
    response.content_length = static_cast<std::int64_t>(body.size());
    const bool with_body = request.method != kHead && !body.empty();
    if (!http_send_header(request, response, with_body ? BodyFollows::yes : BodyFollows::no))
        return HandlerResult::close;
    if (with_body && !socket_send_all(request.socket, body)) return HandlerResult::close;
    return HandlerResult::keep;
}

HandlerResult http_send_not_found(const HttpRequest& request, HttpResponse& response) {
    return http_send_not_found(request, response, request.url);
}

HandlerResult http_send_not_found(const HttpRequest& request, HttpResponse& response, std::string_view url) {
    response.status = 404;
    return http_send_text(request, response, kHtmlType,
                          text_format(kPageCapacity, kNotFoundFormat, html_escape(url).c_str()));
}

std::string html_escape(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        const std::string_view entity = html_entity(c);
        if (entity.empty()) {
            out.push_back(c);
        } else {
            out.append(entity);
        }
    }
    return out;
}
