// Reading HTTP header blocks, of another server's answers above all: status, lines, where the body ends, and the URLs
// that an answer leads to. Pure functions over text that comes from anywhere.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/str.h"

// The status of "HTTP/1.1 206 ..." and of "ICY 200 OK", as stations answer; 0 where there is none.
int http_answer_status(std::string_view header);

// Without optional white space (blanks and tabs: RFC 9110, section 5.6.3) at its ends.
std::string_view http_trim(std::string_view text);
// Without blanks and control characters: those would end a request line, or add header lines of their own.
bool http_is_sendable(std::string_view url);
// Digits alone, and at least one.
bool http_is_number(std::string_view text);

// The value of the first line of that name, without white space at its ends; nullopt if there is none. Names are
// compared without regard to case.
Text http_header_value(std::string_view header, std::string_view name);

// The lines whose names begin with prefix, each ending in "\r\n"; control characters are dropped.
std::string http_header_lines(std::string_view header, std::string_view prefix);

// Where the body of an answer ends: after `length` bytes, after the last chunk, or with the connection.
struct AnswerBody {
    enum class Coding { by_length, chunked, to_close };
    Coding coding = Coding::to_close;
    std::int64_t length = -1;  // by_length only
};
// Returns nullopt if the header contradicts itself or announces a length that does not fit in 63 bits.
std::optional<AnswerBody> http_answer_body(std::string_view header);

// A Location as seen from the URL that was asked: absolute, or relative to its host or folder. Returns nullopt
// unless it leads to an "http://" URL.
Text http_resolve_location(std::string_view base_url, std::string_view location);

// Whether an answer of this type to this URL is a playlist (m3u, pls) that leads to the stream.
bool http_is_playlist(std::string_view content_type, std::string_view url);
// The first "http://" entry of such a playlist.
Text http_first_playlist_entry(std::string_view playlist);
