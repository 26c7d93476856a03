#include "net/client.h"

#include <sys/socket.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "core/deadline.h"
#include "core/log.h"
#include "core/process_wide.h"
#include "core/socket.h"
#include "core/str.h"
#include "core/text_buffer.h"
#include "core/url_decode.h"
#include "net/body.h"
#include "net/http_header.h"
#include "net/read.h"

namespace {

constexpr std::size_t kAnswerBytes = 16 * 1024 * 1024;
constexpr int kSilenceMs = 10'000;
constexpr std::size_t kGetBytes = 512;
constexpr std::size_t kStreamGetBytes = 8192;
// Many stations send a web page about the stream to every client that calls itself a Mozilla.
constexpr std::string_view kStreamAgent = "Pelorama UPnP MediaServer";
constexpr std::size_t kMaxHost = 256, kMaxUserAgent = 255;

struct UserAgent {
    std::mutex mutex;
    std::string text;
};
UserAgent& agent() {
    return process_wide<UserAgent>();
}

std::string user_agent() {
    std::scoped_lock lock{agent().mutex};
    if (agent().text.empty()) agent().text = "Pelorama User-Agent";
    return agent().text;
}

struct Authority {
    std::string host;
    std::uint16_t port;
};

std::optional<Authority> authority_of(std::string_view url) {
    int port = 0;
    if (url.starts_with("http://")) {
        port = 80;
        url.remove_prefix(7);
    } else if (url.starts_with("ftp://")) {
        port = 21;
        url.remove_prefix(6);
    } else {
        return std::nullopt;
    }
    std::string_view authority = url.substr(0, url.find('/'));
    const std::size_t user_end = authority.find('@');
    if (user_end != std::string_view::npos) authority.remove_prefix(user_end + 1);
    const std::size_t colon = authority.find(':');
    if (colon != std::string_view::npos) port = text_int(authority.substr(authority.rfind(':') + 1));
    if (port <= 0 || port > 65535) return std::nullopt;
    return Authority{std::string{authority.substr(0, colon)}, static_cast<std::uint16_t>(port)};
}

// Kept on purpose: the host is named as the URL has it, user and password included.
struct Target {
    std::string host, path;
};
Target target_of(std::string_view url) {
    constexpr std::size_t kHostStart = 7;
    const std::size_t slash = url.find('/', kHostStart + 1);
    const std::string_view host = url.substr(std::min(kHostStart, url.size()));
    return {.host = std::string{host.substr(0, host.find('/')).substr(0, kMaxHost)},
            .path = std::string{slash == std::string_view::npos ? std::string_view{} : url.substr(slash + 1)}};
}

std::string base64(std::string_view text) {
    constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (std::size_t at = 0; at < text.size(); at += 3) {
        const auto byte = [&](std::size_t i) {
            return at + i < text.size() ? static_cast<unsigned char>(text[at + i]) : 0u;
        };
        const std::uint32_t group = byte(0) << 16 | byte(1) << 8 | byte(2);
        for (std::size_t digit = 0; digit < 4; ++digit)
            out.push_back(at + digit > text.size() ? '=' : kDigits[group >> (18 - 6 * digit) & 63]);
    }
    return out;
}

std::optional<TextBuffer> answer_body(const ReadBody& body) {
    if (body.end == BodyEnd::too_large) return std::nullopt;
    return TextBuffer{body.text, body.text.size() + 1};
}

}  // namespace

void http_set_user_agent(std::string_view text) {
    std::scoped_lock lock{agent().mutex};
    agent().text = text.substr(0, kMaxUserAgent);
}

Socket http_connect(std::string_view url, int timeout_ms) {
    const auto authority = authority_of(url);
    if (!authority || !http_is_sendable(url)) return Socket{};
    const auto address = ipv4_resolve(authority->host);
    if (!address) return Socket{};
    Socket socket = socket_connect(ipv4_endpoint(*address, authority->port), timeout_ms);
    const timeval silence{.tv_sec = kSilenceMs / 1000, .tv_usec = 0};
    if (socket) setsockopt(socket.fd(), SOL_SOCKET, SO_SNDTIMEO, &silence, sizeof silence);
    return socket;
}

bool http_send_get(int socket, std::string_view url, std::string_view extra_headers) {
    if (!http_is_sendable(url)) return false;
    const Target target = target_of(url);
    std::string request =
        "GET /" + target.path + " HTTP/1.1\r\nAccept: */*\r\nHost: " + target.host + "\r\nConnection: Keep-Alive\r\n";
    if (!str_contains(extra_headers, "User-Agent")) request += "User-Agent: " + user_agent() + "\r\n";
    request.append(extra_headers).append("\r\n");
    // Half a request would leave both sides waiting for the rest.
    return request.size() <= kGetBytes && socket_send_all(socket, request);
}

bool http_send_stream_get(int socket, std::string_view url, std::string_view extra_headers) {
    if (!http_is_sendable(url)) return false;
    Target target = target_of(url);
    std::string request = "GET /" + target.path + " HTTP/1.1\r\nAccept: */*\r\n";
    const std::size_t user_end = target.host.find('@');
    if (user_end != std::string::npos) {
        const std::string login = url_decode(target.host.substr(0, user_end));
        request.append("Authorization: Basic ").append(base64(login)).append("\r\n");
        target.host.erase(0, user_end + 1);
    }
    request.append("Host: ").append(target.host).append("\r\nConnection: close\r\nUser-Agent: ").append(kStreamAgent);
    request.append("\r\n").append(extra_headers).append("\r\n");
    return request.size() <= kStreamGetBytes && socket_send_all(socket, request);
}

bool http_send_post(int socket, std::string_view url, std::string_view soapaction, std::string_view body) {
    if (!http_is_sendable(url)) return false;
    const Target target = target_of(url);
    const std::string request =
        "POST /" + target.path + " HTTP/1.1\r\nAccept: */*\r\nUser-Agent: " + user_agent() +
        "\r\nHost: " + target.host + "\r\nSOAPACTION: " + std::string{soapaction} +
        "\r\nCONTENT-TYPE: text/xml; charset=\"UTF-8\"\r\nContent-Length: " + std::to_string(body.size()) +
        "\r\nConnection: Keep-Alive\r\n\r\n";
    return socket_send_all(socket, request, body.empty() ? SendHint::flush : SendHint::more_follows);
}

std::optional<TextBuffer> http_read_body(int socket, std::string_view header, int total_ms) {
    const BodyLimits limits{.bytes = kAnswerBytes, .silence_ms = kSilenceMs, .deadline_ms = total_ms};
    if (str_contains_nocase(header, "chunked\r\n")) return answer_body(http_read_chunks(socket, limits));
    if (const auto length = str_after_nocase(header, "content-length:")) {
        // Kept on purpose: one character, whatever it is, is expected between the colon and the digits, and no more.
        const std::string_view digits = length->substr(std::min<std::size_t>(1, length->size()));
        const bool is_there = digits.find_first_of("+-0123456789") == 0;
        return answer_body(http_read_sized(socket, is_there ? text_int64(digits) : 0, limits));
    }
    if (str_contains_nocase(header, "connection: close\r\n")) return answer_body(http_read_to_close(socket, limits));
    return std::nullopt;
}

std::optional<TextBuffer> http_talk(TalkMode mode, std::string_view url, std::string_view soapaction,
                                    std::string_view body, int total_ms) {
    const Deadline deadline{total_ms};
    const Socket socket = http_connect(url, std::min(kConnectMs, total_ms));
    if (!socket) return std::nullopt;
    const bool sent = mode == TalkMode::get
                          ? http_send_get(socket.fd(), url)
                          : http_send_post(socket.fd(), url, soapaction, body) && socket_send_all(socket.fd(), body);
    if (!sent) return std::nullopt;
    for (int interim = 0; interim < kMaxInterimAnswers; ++interim) {
        const int limit = std::min(kSilenceMs, deadline.left_ms());
        const ReadHeader header = http_read_header(socket.fd(), limit, limit, kAnswerHeaderBytes);
        if (header.end != HeaderEnd::complete) break;
        if (str_contains(header.text, "HTTP/1.1 100")) continue;
        return http_read_body(socket.fd(), header.text, deadline.left_ms());
    }
    log_message(LOG_ERROR, LOG_HTTP, "received no header in HTTP_talk!\n");
    return std::nullopt;
}
