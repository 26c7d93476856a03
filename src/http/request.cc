#include "http/request.h"

#include <array>

#include "core/str.h"
#include "net/answer.h"

namespace {

constexpr std::size_t kUrlCharacters = 255;
constexpr std::string_view kLineEnd = "\r\n";

struct MethodWord {
    std::string_view word;
    HttpMethod method;
};
// Compared with the start of the request line by the word's length only, so "GETX" is a GET.
constexpr auto kMethodWords = std::to_array<MethodWord>({
    {"GET", kGet},
    {"HEAD", kHead},
    {"POST", kPost},
    {"SUBSCRIBE", kSubscribe},
    {"UNSUBSCRIBE", kUnsubscribe},
    {"NOTIFY", kNotify},
});

std::uint32_t method_of(std::string_view header) {
    for (const MethodWord& row : kMethodWords) {
        if (header.starts_with(row.word)) return row.method;
    }
    return 0;
}

// Some control points send a line end after a body without counting it in the length; it arrives before their next
// request (RFC 9112, section 2.2).
void drop_leading_line_end(std::string& header) {
    if (header.starts_with(kLineEnd) && header.size() > 2 * kLineEnd.size()) header.erase(0, kLineEnd.size());
}

bool asks_for_close(std::string_view header) {
    const std::size_t connection = str_find_nocase(header, "\nConnection:");
    return connection != std::string_view::npos && str_contains_nocase(header.substr(connection), "close");
}

std::string_view line_at(std::string_view header, std::size_t at) {
    return header.substr(at, header.find_first_of(kLineEnd, at) - at);
}

}  // namespace

void http_parse_request(HttpRequest& request) {
    drop_leading_line_end(request.header);
    request.method = method_of(request.header);
    const std::string_view line = line_at(request.header, 0);
    const std::size_t before_url = line.find(' ');
    if (before_url != std::string_view::npos) {
        const std::string_view rest = line.substr(before_url + 1);
        const std::size_t after_url = rest.find(' ');
        request.url = rest.substr(0, after_url).substr(0, kUrlCharacters);
        const bool is_11 = after_url != std::string_view::npos && rest.substr(after_url + 1).starts_with("HTTP/1.1");
        request.version = is_11 ? 11 : 10;
    }
    request.asks_for_close = request.version == 10 || asks_for_close(request.header);
}

AnnouncedBody http_announced_body(std::string_view header) {
    constexpr std::string_view kCoding = "transfer-encoding:";
    constexpr std::string_view kLength = "content-length:";
    const std::size_t coding = str_find_nocase(header, kCoding);
    if (coding != std::string_view::npos && str_contains_nocase(line_at(header, coding), "chunked")) {
        return {.coding = AnnouncedBody::Coding::chunked};
    }
    AnnouncedBody body;
    for (std::size_t at = str_find_nocase(header, kLength); at != std::string_view::npos;
         at = str_find_nocase(header, kLength, at + 1)) {
        const std::string_view value = http_trim(line_at(header, at + kLength.size()));
        const bool differs = body.coding != AnnouncedBody::Coding::none && body.length != text_int64(value);
        if (!http_is_number(value) || differs) return {.coding = AnnouncedBody::Coding::unreadable};
        body = {.coding = AnnouncedBody::Coding::by_length, .length = text_int64(value)};
    }
    return body;
}
