#include "http/request.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string get(const std::string& lines) {
    return "GET /x HTTP/1.1\r\n" + lines + "\r\n";
}

TEST(RequestLine, IsTakenApart) {
    const struct {
        const char* name;
        std::string header;
        std::uint32_t method;
        std::string url;
        int version;
        bool close;
    } rows[] = {
        {"unsubscribe", "UNSUBSCRIBE /e HTTP/1.1\r\n\r\n", kUnsubscribe, "/e", 11, false},
        {"lower_case_is_unknown", "get /a HTTP/1.1\r\n\r\n", 0, "/a", 11, false},
        {"version_10_closes", "GET /a HTTP/1.0\r\n\r\n", kGet, "/a", 10, true},
        {"word_alone", "GET\r\n\r\n", kGet, "", 10, true},
        {"no_second_blank", "GET /a\r\nHost: b\r\n\r\n", kGet, "/a", 10, true},
        {"two_blanks", "GET  /a HTTP/1.1\r\n\r\n", kGet, "", 10, true},
        {"url_of_256", "GET " + std::string(256, 'u') + " HTTP/1.1\r\n\r\n", kGet, std::string(255, 'u'), 11, false},
        {"cut_inside_the_url", "GET /" + std::string(900, 'u'), kGet, "/" + std::string(254, 'u'), 10, true},
        {"line_end_before_it", "\r\nGET /x HTTP/1.1\r\n\r\n", kGet, "/x", 11, false},
        {"asks_for_close", get("cOnnection: Close\r\n"), kGet, "/x", 11, true},
        {"close_anywhere_behind_it", get("Connection: keep-alive\r\nX: enclosed\r\n"), kGet, "/x", 11, true},
        {"close_before_it", get("X: close\r\nConnection: keep-alive\r\n"), kGet, "/x", 11, false},
    };
    for (const auto& c : rows) {
        SCOPED_TRACE(c.name);
        HttpRequest request;
        request.header = c.header;
        http_parse_request(request);
        EXPECT_EQ(request.method, c.method);
        EXPECT_EQ(request.url, c.url);
        EXPECT_EQ(request.version, c.version);
        EXPECT_EQ(request.close, c.close);
    }
}

using Coding = AnnouncedBody::Coding;

TEST(BodyHeader, AnnouncesABody) {
    const struct {
        const char* name;
        std::string lines;
        Coding coding;
        std::int64_t length;
    } rows[] = {
        {"no_blank_other_case", "content-LENGTH:12\r\n", Coding::by_length, 12},
        {"tab", "Content-Length:\t5\r\n", Coding::by_length, 5},
        {"twice_the_same", "Content-Length: 5\r\nContent-Length: 5\r\n", Coding::by_length, 5},
        {"two_lengths", "Content-Length: 5\r\nContent-Length: 6\r\n", Coding::unreadable, 0},
        {"negative", "Content-Length: -1\r\n", Coding::unreadable, 0},
        {"empty_value", "Content-Length:\r\nX: 5\r\n", Coding::unreadable, 0},
        {"huge", "Content-Length: 99999999999999999999\r\n", Coding::by_length, 9223372036854775807},
        {"chunked_wins", "Content-Length: 5\r\ntransfer-encoding:gzip, Chunked\r\n", Coding::chunked, 0},
        {"chunked_elsewhere", "Transfer-Encoding: identity\r\nX: chunked\r\n", Coding::none, 0},
    };
    for (const auto& c : rows) {
        SCOPED_TRACE(c.name);
        const AnnouncedBody body = http_announced_body("POST / HTTP/1.1\r\n" + c.lines + "\r\n");
        EXPECT_EQ(body.coding, c.coding);
        EXPECT_EQ(body.length, c.length);
    }
}

}  // namespace
