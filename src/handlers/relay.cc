#include "handlers/relay.h"

#include <sys/socket.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "core/log.h"
#include "core/process_wide.h"
#include "core/str.h"
#include "db/objects.h"
#include "db/store.h"
#include "handlers/ftp_relay.h"
#include "handlers/now_playing.h"
#include "http/range.h"
#include "http/request.h"
#include "http/respond.h"
#include "meta/media_formats.h"
#include "net/body.h"
#include "net/http_header.h"
#include "net/socket_copy.h"
#include "net/source.h"
#include "upnp/protocol_info.h"

namespace {

// Bytes between two updates of the now-playing page.
constexpr std::int64_t kPieceBytes = 1024 * 1024;
constexpr std::size_t kMaxType = 128;
// The room for the source's lines: our own take the rest of a response header.
constexpr std::size_t kPassedOnBytes = 640;

// The port of the listener that this connection came to.
int own_port(int socket) {
    sockaddr_in near{};
    socklen_t size = sizeof near;
    if (getsockname(socket, reinterpret_cast<sockaddr*>(&near), &size) != 0 || near.sin_family != AF_INET) return 0;
    return ntohs(near.sin_port);
}

// Our name in "Via" lines. Random, so that stations on the internet learn no address of ours.
struct OwnName {
    const std::string text = text_format(32, "pelorama-%08x%08x", std::random_device{}(), std::random_device{}());
};
const std::string& own_name() {
    return process_wide<OwnName>().text;
}

// Whether this process has asked already for what is asked now: the request has our "Via" line (RFC 9110, section
// 7.6.3). Two servers whose items lead to each other would otherwise ask each other without end.
bool has_come_round(const HttpRequest& request) {
    const Text via = http_header_value(request.header, "Via");
    return via && str_contains(*via, own_name());
}

std::string request_lines(const HttpRequest& request) {
    std::string lines;
    for (const std::string_view name : {"Range", "Icy-MetaData"}) {
        if (const Text value = http_header_value(request.header, name))
            lines.append(name).append(": ").append(*value).append("\r\n");
    }
    lines.append("Via: ");
    if (const Text via = http_header_value(request.header, "Via")) lines.append(*via).append(", ");
    return lines.append("1.1 ").append(own_name()).append("\r\n");
}

std::string type_by_name(std::string_view path) {
    const std::string_view known = mime_of_extension(path_extension(path));
    return std::string{known.empty() ? "application/octet-stream" : known};
}

std::string content_type_of(const HttpSource& source) {
    std::string type = http_header_value(source.header, "Content-Type").value_or("");
    std::erase_if(type, [](char c) { return static_cast<unsigned char>(c) < 32 || c == 127; });
    if (!type.empty() && type.size() <= kMaxType) return type;
    const bool is_station = source.header.starts_with("ICY") || !http_header_lines(source.header, "icy-").empty();
    const std::string_view url = source.url;
    return is_station ? "audio/mpeg" : type_by_name(url.substr(0, url.find_first_of("?#")));
}

// The header lines of the source that the client needs, the most important first, as many as there is room for.
std::string passed_on(const HttpSource& source, std::string lines, int version) {
    const auto add = [&](std::string_view more) {
        if (lines.size() + more.size() <= kPassedOnBytes) lines.append(more);
    };
    const auto add_line = [&](std::string_view name) {
        const std::string lines_of_name = http_header_lines(source.header, name);
        const std::string_view line = std::string_view{lines_of_name}.substr(0, lines_of_name.find('\n') + 1);
        if (str_starts_nocase(line, str_concat(name, ":"))) add(line);
    };
    if (source.status != 200 && version == 11) add_line("Content-Range");
    add_line("Accept-Ranges");
    add_line("icy-metaint");
    const std::string all = http_header_lines(source.header, "icy-");
    for (std::size_t at = 0; at < all.size();) {
        const std::size_t end = all.find('\n', at) + 1;
        const std::string_view line = std::string_view{all}.substr(at, end - at);
        if (!str_starts_nocase(line, "icy-metaint:")) add(line);
        at = end;
    }
    return lines;
}

// -1 without a range of bytes, as for files.
std::int64_t first_byte_of(const HttpRequest& request) {
    const ByteRange range = http_parse_range(request.header);
    return range.time_seek ? -1 : range.first;
}

class BodyRelay {
public:
    BodyRelay(const HttpRequest& request, const HttpResponse& response, const HttpSource& source, ObjectId id)
        : request_(request),
          announced_(response.content_length),
          source_(source),
          id_(id),
          asked_first_(first_byte_of(request)),
          copy_(source.connection.fd(), request.socket, kSourceSilenceMs) {}

    HandlerResult run() {
        now_playing_update(request_.peer, id_, asked_first_);
        const bool whole = source_.body.coding == AnswerBody::Coding::chunked ? pass_chunks() : pass(left_by_header());
        if (copy_.end() == SocketCopy::End::source_failed)
            log_message(LOG_INFO, LOG_HTTPPROXY, "source went away: %s\n", source_.url.c_str());
        // A client that was promised more bytes would wait for them; closing the connection ends that.
        return whole && sent_ == announced_ ? HandlerResult::keep : HandlerResult::close;
    }

private:
    std::int64_t left_by_header() const {
        const bool by_length = source_.body.coding == AnswerBody::Coding::by_length;
        return by_length ? source_.body.length : std::numeric_limits<std::int64_t>::max();
    }

    bool pass(std::int64_t count) {
        while (count > 0) {
            const std::int64_t n = copy_.move(std::min(count, kPieceBytes));
            if (n == 0) return false;
            count -= n;
            sent_ += n;
            now_playing_update(request_.peer, id_, asked_first_ + sent_);
        }
        return true;
    }

    bool pass_chunks() {
        for (;;) {
            SocketReader reader{source_.connection.fd(), kSourceSilenceMs, kSourceSilenceMs};
            const auto size = http_read_chunk_size(reader);
            if (!size || *size > std::numeric_limits<std::int32_t>::max()) return false;
            if (!pass(static_cast<std::int64_t>(*size))) return false;
            SocketReader end{source_.connection.fd(), kSourceSilenceMs, kSourceSilenceMs};
            if (!http_read_chunk_end(end)) return false;
            if (*size == 0) return true;
        }
    }

    const HttpRequest& request_;
    const std::int64_t announced_;
    const HttpSource& source_;
    const ObjectId id_;
    const std::int64_t asked_first_;
    SocketCopy copy_;
    std::int64_t sent_ = 0;
};

// The id text of the URL, and the URL that the item has as its path; nullopt if that has another scheme.
struct RelayTarget {
    std::string_view id_text;
    std::string url;
};
std::optional<RelayTarget> target_of(const HttpRequest& request, std::string_view mark, std::string_view scheme) {
    const auto id_text = str_after(request.url, mark);
    if (!id_text) return std::nullopt;
    auto resource = db_get_resource(*id_text);
    if (!resource || !resource->path.starts_with(scheme)) return std::nullopt;
    return RelayTarget{.id_text = *id_text, .url = std::move(resource->path)};
}

}  // namespace

HandlerResult handle_http_proxy(const HttpRequest& request, HttpResponse& response) {
    const auto target = target_of(request, "httpproxy/", "http://");
    if (!target || has_come_round(request)) return http_send_not_found(request, response);
    const auto source = http_open_source(target->url, request_lines(request), own_port(request.socket));
    if (!source) {
        log_message(LOG_INFO, LOG_HTTPPROXY, "no stream at %s\n", target->url.c_str());
        return http_send_not_found(request, response);
    }
    const bool has_body = source->status != 416;
    if (has_body) db_played(target->id_text);

    response.content_type = content_type_of(*source);
    response.content_length = has_body ? source->body.length : 0;
    response.status = source->status;
    response.range_total = -1;
    response.answers_time_seek = http_asks_for_time(request.header);
    if (response.content_length < 0) response.close = true;
    response.extra_headers =
        passed_on(*source, dlna_response_headers(request.header, response.content_type, target->url), request.version);

    const bool sends_body = has_body && request.method != kHead && response.content_length != 0;
    if (!http_send_header(request, response, sends_body ? BodyFollows::yes : BodyFollows::no))
        return HandlerResult::close;
    if (!sends_body) return HandlerResult::keep;
    return BodyRelay{request, response, *source, text_int(target->id_text)}.run();
}

HandlerResult handle_ftp_proxy(const HttpRequest& request, HttpResponse& response) {
    const auto target = target_of(request, "ftpproxy/", "ftp://");
    if (!target) return http_send_not_found(request, response);
    response.content_type = type_by_name(target->url);
    const ObjectId id = text_int(target->id_text);
    return ftp_relay(request, response, target->url, [&](std::int64_t bytes) {
        if (bytes == 0) db_played(target->id_text);
        if (request.method != kHead) now_playing_update(request.peer, id, bytes - 1);  // as for files without a range
    });
}
