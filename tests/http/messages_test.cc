// Requests, answers of other servers and bodies, as they come from a socket; ranges.
#include <gtest/gtest.h>
#include <limits>
#include <string>

#include "core/url_decode.h"
#include "http/range.h"
#include "http/request.h"
#include "net/body.h"
#include "net/http_header.h"
#include "net/read.h"
#include "support/rows.h"
#include "support/sockets.h"

namespace {

std::string get(const std::string& lines) {
    return "GET /x HTTP/1.1\r\n" + lines + "\r\n";
}

TEST(RequestLine, IsTakenApart) {
    for (const auto& [name, header, method, url, version, close] :
         Rows<const char*, std::string, std::uint32_t, std::string, int, bool>{
             {"unsubscribe", "UNSUBSCRIBE /e HTTP/1.1\r\n\r\n", kUnsubscribe, "/e", 11, false},
             {"lower_case_is_unknown", "get /a HTTP/1.1\r\n\r\n", 0, "/a", 11, false},
             {"version_10_closes", "GET /a HTTP/1.0\r\n\r\n", kGet, "/a", 10, true},
             {"word_alone", "GET\r\n\r\n", kGet, "", 10, true},
             {"no_second_blank", "GET /a\r\nHost: b\r\n\r\n", kGet, "/a", 10, true},
             {"two_blanks", "GET  /a HTTP/1.1\r\n\r\n", kGet, "", 10, true},
             {"url_of_256", "GET " + std::string(256, 'u') + " HTTP/1.1\r\n\r\n", kGet, std::string(255, 'u'), 11,
              false},
             {"cut_inside_the_url", "GET /" + std::string(900, 'u'), kGet, "/" + std::string(254, 'u'), 10, true},
             {"line_end_before_it", "\r\nGET /x HTTP/1.1\r\n\r\n", kGet, "/x", 11, false},
             {"asks_for_close", get("cOnnection: Close\r\n"), kGet, "/x", 11, true},
             {"close_anywhere_behind_it", get("Connection: keep-alive\r\nX: enclosed\r\n"), kGet, "/x", 11, true},
             {"close_before_it", get("X: close\r\nConnection: keep-alive\r\n"), kGet, "/x", 11, false},
         }) {
        HttpRequest request;
        request.header = header;
        http_parse_request(request);
        EXPECT_EQ(std::tuple(request.method, request.url, request.version, request.asks_for_close),
                  std::tuple(method, url, version, close))
            << name;
    }
}

using Coding = AnnouncedBody::Coding;

TEST(BodyHeader, AnnouncesABody) {
    for (const auto& [name, lines, coding, length] : Rows<const char*, std::string, Coding, std::int64_t>{
             {"no_blank_other_case", "content-LENGTH:12\r\n", Coding::by_length, 12},
             {"tab", "Content-Length:\t5\r\n", Coding::by_length, 5},
             {"twice_the_same", "Content-Length: 5\r\nContent-Length: 5\r\n", Coding::by_length, 5},
             {"two_lengths", "Content-Length: 5\r\nContent-Length: 6\r\n", Coding::unreadable, 0},
             {"negative", "Content-Length: -1\r\n", Coding::unreadable, 0},
             {"empty_value", "Content-Length:\r\nX: 5\r\n", Coding::unreadable, 0},
             {"huge", "Content-Length: 99999999999999999999\r\n", Coding::by_length, 9223372036854775807},
             {"chunked_wins", "Content-Length: 5\r\ntransfer-encoding:gzip, Chunked\r\n", Coding::chunked, 0},
             {"chunked_elsewhere", "Transfer-Encoding: identity\r\nX: chunked\r\n", Coding::none, 0},
         }) {
        const AnnouncedBody body = http_announced_body("POST / HTTP/1.1\r\n" + lines + "\r\n");
        EXPECT_EQ(std::pair(body.coding, body.length), std::pair(coding, length)) << name;
    }
}

constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();

TEST(RangeHeader, IsReadAsClientsMeanIt) {
    for (const auto& [name, lines, expected] : Rows<const char*, const char*, ByteRange>{
             {"reversed_is_one_byte", "Range: bytes=500-100", {500, 500}},
             {"reversed_to_the_first_byte", "Range: bytes=5-0", {5, 5}},
             {"other_case", "rAnGe: bytes=1-2", {1, 2}},
             {"blank_behind_equals", "Range: bytes= 7-9", {7, 9}},
             {"only_at_the_start_of_a_line", "X-Range: bytes=1-2", {}},
             {"first_of_several", "Range: bytes=0-0,5-9", {0, 0}},
             {"no_last_behind_the_first", "Range: bytes=1-2-3", {1, 2}},
             {"suffix_is_no_range", "Range: bytes=-500", {-500, 500}},
             {"beyond_the_largest", "Range: bytes=9223372036854775808-99999999999999999999", {kLargest, kLargest}},
             {"time_seek_with_colons", "TimeSeekRange.dlna.org: npt=0:01:30.000-0:02:00.500", {90'000, 120'500, true}},
             {"time_seek_reversed", "timeseekrange.DLNA.org: npt=20-10", {20'000, 20'000, true}},
             {"x_seek", "X-Seek-Range: npt=5-", {5'000, -1, true}},
             {"time_seek_before_x_seek", "X-Seek-Range: npt=5-\r\nTimeSeekRange.dlna.org: npt=6-", {6'000, -1, true}},
             {"bytes_before_time_seek", "TimeSeekRange.dlna.org: npt=6-\r\nRange: bytes=1-", {1, -1}},
             {"time_seek_without_a_value", "TimeSeekRange.dlna.org:", {-1, -1, true}},
         }) {
        const ByteRange range = http_parse_range(std::string{"GET / HTTP/1.1\r\n"} + lines + "\r\n\r\n");
        EXPECT_EQ(std::tuple(range.first, range.last, range.time_seek),
                  std::tuple(expected.first, expected.last, expected.time_seek))
            << name;
    }
}

TEST(NptTime, IsMilliseconds) {
    const std::pair<std::string, std::int64_t> rows[] = {
        {"90", 90'000},
        {"90.5", 90'005},
        {".5", 5},
        {"0:01:30", 60'030'000},
        {" 1 2 x34", 12'000},
        {"", 0},
        {"999999999:00:00.0", 3'599'999'996'400'000},
        {std::string(400, '9') + ":" + std::string(400, '9'), kLargest},
    };
    for (const auto& [text, expected] : rows) EXPECT_EQ(parse_npt_time(text), expected) << text;
}

TEST(UrlDecode, TurnsEscapesIntoBytesAndKeepsTheRest) {
    EXPECT_EQ(url_decode("/a%20b%2Fc%c3%A4"), "/a b/c\xc3\xa4");
    EXPECT_EQ(url_decode("%252e"), "%2e") << "decoded once";
    EXPECT_EQ(url_decode("a+b%%41%4"), "a+b%A%4");
    EXPECT_EQ(url_decode("a%00b"), "a%00b");
}

constexpr BodyLimits kLimits{.bytes = 100, .silence_ms = 5000, .deadline_ms = 5000};

std::string header_of(std::size_t bytes) {
    return "GET / HTTP/1.1\r\nX: " + std::string(bytes - 23, 'x') + "\r\n\r\n";
}

TEST(Header, EndsAtItsLastLineOrAtTheLimit) {
    for (const auto& [name, sent, end, kept, left] :
         Rows<const char*, std::string, HeaderEnd, std::size_t, std::size_t>{
             // A CR or LF out of place starts the count anew.
             {"odd_line_ends", "GET / HTTP/1.1\r\nA: \r\r\n\n\r\n\r\r\n\r\n\r\nnext", HeaderEnd::complete, 32, 4},
             {"ends_before_it_is_complete", "GET / HTTP/1.1\r\n\r", HeaderEnd::none, 0, 0},
             {"complete_of_1023", header_of(1023), HeaderEnd::complete, 1023, 0},
             {"complete_of_1024", header_of(1024), HeaderEnd::complete, 1023, 0},
             {"complete_of_1025", header_of(1025), HeaderEnd::too_small, 1023, 1},
             {"endless_1023", std::string(1023, 'x'), HeaderEnd::none, 0, 0},
             {"endless", std::string(kWhatFits, 'x'), HeaderEnd::too_small, 1023, kWhatFits - 1024},
         }) {
        SCOPED_TRACE(name);
        const Socket socket = fed_socket(sent);
        const ReadHeader header = http_read_header(socket.fd());
        EXPECT_EQ(header.end, end);
        EXPECT_EQ(header.text, sent.substr(0, kept));
        EXPECT_EQ(read_to_end(socket).size(), left);
    }
}

TEST(Chunks, AreJoinedUpToTheLast) {
    const std::string hundred(100, 'x');
    for (const auto& [sent, end, text, left] : Rows<std::string, BodyEnd, std::string, std::string>{
             {"5\r\nhello\r\n6;a=b\r\n world\r\n0\r\n\r\nGET /", BodyEnd::complete, "hello world", "GET /"},
             {"000A\n0123456789\r\n0\n\r\n", BodyEnd::complete, "0123456789", ""},
             {"64\r\n" + hundred + "\r\n0\r\n\r\n", BodyEnd::complete, hundred, ""},
             {"64\r\n" + hundred + "\r\n1\r\ny", BodyEnd::too_large, hundred, "y"},
             {"-1\r\n", BodyEnd::malformed, "", ""},
             {"fffffffffffffff0\r\n", BodyEnd::too_large, "", ""},
             {"10000000000000005\r\n", BodyEnd::malformed, "", ""},
             {"123456789012345678901\r\n", BodyEnd::malformed, "", "1\r\n"},
             {"2\r\nhixx0\r\n\r\n", BodyEnd::malformed, "hi", "0\r\n\r\n"},
             {"2", BodyEnd::closed, "", ""},
             {"5\r\nhel", BodyEnd::closed, "hel", ""},
             {"2\r\nhi\r\n0\r\nX: y\r\n\r\n", BodyEnd::malformed, "hi", " y\r\n\r\n"},
         }) {
        SCOPED_TRACE(sent);
        const Socket socket = fed_socket(sent);
        const ReadBody body = http_read_chunks(socket.fd(), kLimits);
        EXPECT_EQ(body.end, end);
        EXPECT_EQ(body.text, text);
        EXPECT_EQ(read_to_end(socket), left);
    }
}

TEST(Body, ByCloseTakesAllUpToTheLimit) {
    EXPECT_EQ(http_read_to_close(fed_socket(std::string(100, 'x')).fd(), kLimits).end, BodyEnd::complete);
    EXPECT_EQ(http_read_to_close(fed_socket(std::string(101, 'x')).fd(), kLimits).end, BodyEnd::too_large);
}

TEST(Body, ThatIsTooSlowIsLate) {
    const ConnectedSockets sockets;
    socket_send_all(sockets.far.fd(), "4\r\nhi");
    EXPECT_EQ(http_read_sized(sockets.near.fd(), 99, {100, 20, 5000}).end, BodyEnd::late) << "silence";
    EXPECT_EQ(http_read_chunks(sockets.near.fd(), {100, 5000, 20}).end, BodyEnd::late) << "deadline";
    EXPECT_EQ(http_read_to_close(sockets.near.fd(), {100, 20, 20}).end, BodyEnd::late);
}

TEST(AnswerHeader, IsReadLineByLine) {
    const std::string header =
        "HTTP/1.1 206 Partial Content\r\nX-Content-Length: 7\r\ncontent-type:audio/mpeg \r\nicy-name: A\x01 B\r\n"
        "Content-Length: 5\r\nICY-Br:128\r\n\r\n";
    EXPECT_EQ(http_answer_status(header), 206);
    for (const char* none : {"HTTP/1.1 20", "HTTP/1.1 -20", ""}) EXPECT_EQ(http_answer_status(none), 0);
    EXPECT_EQ(http_header_value(header, "Content-Type"), "audio/mpeg");
    EXPECT_EQ(http_header_lines(header, "icy-"), "icy-name: A B\r\nICY-Br: 128\r\n");
    EXPECT_EQ(http_answer_body(header)->length, 5);
}

TEST(Location, IsResolvedAgainstTheUrlThatWasAsked) {
    for (const auto& [base, location, url] : Rows<const char*, const char*, Text>{
             {"http://h:1/a/b?c", "HTTP://other", "http://other"},
             {"http://h:1/a/b?c", "//other/x", "http://other/x"},
             {"http://u:p@h:1/a/b?c/d", "/x:y", "http://u:p@h:1/x:y"},
             {"http://h:1/a/b?c/d", "x", "http://h:1/a/x"},
             {"http://h:1/a/b?c/d", "?x", "http://h:1/a/b?x"},
             {"http://h", "x", "http://h/x"},
             {"http://h/", "mailto:x", std::nullopt},
             {"http://h/", "", std::nullopt},
         })
        EXPECT_EQ(http_resolve_location(base, location), url) << base << " to " << location;
}

TEST(StreamPlaylist, IsToldFromAStreamAndLeadsToItsFirstHttpEntry) {
    EXPECT_TRUE(http_is_playlist("Audio/X-ScPls; charset=utf-8", "http://h/a"));
    for (const char* type : {"audio/x-mpegurl", "audio/mpegurl", "application/x-mpegurl", "audio/scpls",
                             "application/pls+xml", "application/x-scpls"})
        EXPECT_TRUE(http_is_playlist(type, "http://h/a")) << type;
    EXPECT_TRUE(http_is_playlist("text/plain", "http://h/listen.PLS?id=1"));
    EXPECT_TRUE(http_is_playlist("", "http://h/listen.m3u"));
    EXPECT_FALSE(http_is_playlist("audio/mpeg", "http://h/listen.m3u"));
    EXPECT_FALSE(http_is_playlist("application/octet-stream", "http://h/a?x=.pls"));
    EXPECT_FALSE(http_is_playlist("", "http://playlists.m3u"));
    for (const auto& [text, entry] : Rows<const char*, Text>{
             {"[playlist]\nNumberOfEntries=2\nTitle1=x\nfile1 = http://h/1 \nFile2=http://h/2", "http://h/1"},
             {"#EXTM3U\r\n#EXTINF:-1,x\r\nhttps://h/0\r\n  HTTP://h/1\r\nhttp://h/2", "http://h/1"},
             {"/etc/passwd\n\nFile=\n", std::nullopt},
         })
        EXPECT_EQ(http_first_playlist_entry(text), entry) << text;
}

}  // namespace
