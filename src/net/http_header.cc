#include "net/http_header.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>
#include <vector>
#include "core/str.h"

namespace {

constexpr std::string_view kHttp = "http://";

// Takes the next line off the text, without its end.
std::string_view next_line(std::string_view& text) {
    const std::size_t end = text.find_first_of("\r\n");
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return line;
}

struct HeaderLine {
    std::string_view name, value;
};
std::vector<HeaderLine> lines_of(std::string_view header) {
    std::vector<HeaderLine> lines;
    next_line(header);  // the status
    while (!header.empty()) {
        const std::string_view line = next_line(header);
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos) continue;
        lines.push_back({.name = http_trim(line.substr(0, colon)), .value = http_trim(line.substr(colon + 1))});
    }
    return lines;
}

// "http://host:port", and the path without what follows "?" or "#".
struct UrlParts {
    std::string_view origin, path;
};
UrlParts parts_of(std::string_view url) {
    const std::size_t path = std::min(url.find('/', kHttp.size()), url.size());
    return {.origin = url.substr(0, path), .path = url.substr(path, url.find_first_of("?#", path) - path)};
}

}  // namespace

int http_answer_status(std::string_view header) {
    const std::size_t blank = header.find(' ');
    if (blank == std::string_view::npos) return 0;
    const std::string_view protocol = header.substr(0, blank);
    if (protocol != "ICY" && !protocol.starts_with("HTTP/")) return 0;
    const std::string_view digits = header.substr(blank + 1, 3);
    return digits.size() == 3 && http_is_number(digits) ? text_int(digits) : 0;
}

std::string_view http_trim(std::string_view text) {
    constexpr std::string_view kWhiteSpace = " \t";
    const std::size_t first = std::min(text.find_first_not_of(kWhiteSpace), text.size());
    return text.substr(first, text.find_last_not_of(kWhiteSpace) + 1 - first);
}

bool http_is_sendable(std::string_view url) {
    return std::ranges::none_of(url, [](char c) { return static_cast<unsigned char>(c) <= 32 || c == 127; });
}

bool http_is_number(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

Text http_header_value(std::string_view header, std::string_view name) {
    for (const HeaderLine& line : lines_of(header)) {
        if (str_equal_nocase(line.name, name)) return std::string{line.value};
    }
    return std::nullopt;
}

std::string http_header_lines(std::string_view header, std::string_view prefix) {
    std::string lines;
    for (const HeaderLine& line : lines_of(header)) {
        if (!str_starts_nocase(line.name, prefix)) continue;
        std::string whole = std::string{line.name}.append(": ").append(line.value);
        std::erase_if(whole, [](char c) { return (static_cast<unsigned char>(c) < 32 && c != '\t') || c == 127; });
        lines.append(whole).append("\r\n");
    }
    return lines;
}

// Chunks go before a length (RFC 9112, section 6.3). Lengths that differ are refused: one of them is wrong.
std::optional<AnswerBody> http_answer_body(std::string_view header) {
    const Text coding = http_header_value(header, "Transfer-Encoding");
    if (coding && str_contains_nocase(*coding, "chunked")) return AnswerBody{.coding = AnswerBody::Coding::chunked};
    AnswerBody body;
    for (const HeaderLine& line : lines_of(header)) {
        if (!str_equal_nocase(line.name, "Content-Length")) continue;
        const std::int64_t length = text_int64(line.value);
        const bool differs = body.length >= 0 && body.length != length;
        if (!http_is_number(line.value) || length == std::numeric_limits<std::int64_t>::max() || differs)
            return std::nullopt;
        body = {.coding = AnswerBody::Coding::by_length, .length = length};
    }
    return body;
}

Text http_resolve_location(std::string_view base_url, std::string_view location) {
    location = str_trim(location);
    if (!base_url.starts_with(kHttp) || location.empty()) return std::nullopt;
    if (str_starts_nocase(location, kHttp)) return str_concat(kHttp, location.substr(kHttp.size()));
    if (location.starts_with("//")) return str_concat("http:", location);
    // The text before the first colon is another scheme, unless that colon belongs to a path or a query.
    const std::size_t colon = location.find(':');
    if (colon != std::string_view::npos && location.find_first_of("/?#") > colon) return std::nullopt;
    const UrlParts base = parts_of(base_url);
    if (location.starts_with('/')) return str_concat(base.origin, location);
    if (location.starts_with('?'))
        return str_concat(str_concat(base.origin, base.path.empty() ? "/" : base.path), location);
    const std::string_view folder = base.path.substr(0, base.path.rfind('/') + 1);
    return str_concat(str_concat(base.origin, folder.empty() ? "/" : folder), location);
}

bool http_is_playlist(std::string_view content_type, std::string_view url) {
    constexpr auto kTypes = std::to_array<std::string_view>({
        "audio/x-mpegurl",
        "audio/mpegurl",
        "application/x-mpegurl",
        "audio/x-scpls",
        "audio/scpls",
        "application/pls+xml",
        "application/x-scpls",
    });
    const std::string_view type = str_trim(content_type.substr(0, content_type.find(';')));
    for (const std::string_view known : kTypes) {
        if (str_equal_nocase(type, known)) return true;
    }
    // Other types come from web servers that do not know playlists: the name decides. A stream may be named like a
    // playlist, but has an audio or video type.
    if (str_starts_nocase(type, "audio/") || str_starts_nocase(type, "video/")) return false;
    const std::string_view path = parts_of(url).path;
    return str_ends_nocase(path, ".m3u") || str_ends_nocase(path, ".pls");
}

Text http_first_playlist_entry(std::string_view playlist) {
    while (!playlist.empty()) {
        std::string_view line = str_trim(next_line(playlist));
        if (str_starts_nocase(line, "file") && line.find('=') != std::string_view::npos)
            line = str_trim(line.substr(line.find('=') + 1));
        if (str_starts_nocase(line, kHttp)) return str_concat(kHttp, line.substr(kHttp.size()));
    }
    return std::nullopt;
}
