#include "http/request.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/str.h"
#include "net/http_header.h"

namespace {

constexpr std::size_t kUrlCharacters = 255;
constexpr std::string_view kLineEnd = "\r\n";

struct MethodWord {
    std::string_view word;
    HttpMethod method;
};
// Kept on purpose: only the beginning of the request line is compared, so "GETX" is a GET.
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

// Some control points send a line end after a body that Content-Length does not count; it then comes before their next
// request (RFC 9112, section 2.2).
void drop_leading_line_end(std::string& header) {
    if (header.starts_with(kLineEnd) && header.size() > 2 * kLineEnd.size()) header.erase(0, kLineEnd.size());
}

bool asks_for_close(std::string_view header) {
    const auto connection = str_after_nocase(header, "\nConnection:");
    return connection && str_contains_nocase(*connection, "close");
}

std::string_view first_line(std::string_view text) {
    return text.substr(0, text.find_first_of(kLineEnd));
}

}  // namespace

void http_parse_request(HttpRequest& request) {
    drop_leading_line_end(request.header);
    request.method = method_of(request.header);
    const std::string_view line = first_line(request.header);
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

// Stricter than the parsing above: if two readers of a request disagreed about where its body ends, the rest would be
// taken for another request (RFC 9112, section 6.3).
AnnouncedBody http_announced_body(std::string_view header) {
    constexpr std::string_view kLength = "content-length:";
    const auto coding = str_after_nocase(header, "transfer-encoding:");
    if (coding && str_contains_nocase(first_line(*coding), "chunked"))
        return {.coding = AnnouncedBody::Coding::chunked};
    AnnouncedBody body;
    for (auto rest = str_after_nocase(header, kLength); rest; rest = str_after_nocase(*rest, kLength)) {
        const std::string_view value = http_trim(first_line(*rest));
        const bool differs = body.coding != AnnouncedBody::Coding::none && body.length != text_int64(value);
        if (!http_is_number(value) || differs) return {.coding = AnnouncedBody::Coding::unreadable};
        body = {.coding = AnnouncedBody::Coding::by_length, .length = text_int64(value)};
    }
    return body;
}
