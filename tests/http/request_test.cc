#include "http/request.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct LineCase {
    const char* name;
    std::string header;
    std::uint32_t method;
    std::string url;
    int version;
    bool close;
};
class RequestLine : public testing::TestWithParam<LineCase> {};

TEST_P(RequestLine, IsTakenApart) {
    HttpRequest request;
    request.header = GetParam().header;
    http_parse_request(request);
    EXPECT_EQ(request.method, GetParam().method);
    EXPECT_EQ(request.url, GetParam().url);
    EXPECT_EQ(request.version, GetParam().version);
    EXPECT_EQ(request.close, GetParam().close);
}

std::string get(const std::string& lines) {
    return "GET /x HTTP/1.1\r\n" + lines + "\r\n";
}

INSTANTIATE_TEST_SUITE_P(
    Http, RequestLine,
    testing::ValuesIn<LineCase>({
        {"get", get(""), kGet, "/x", 11, false},
        {"head", "HEAD / HTTP/1.1\r\n\r\n", kHead, "/", 11, false},
        {"post", "POST /c HTTP/1.1\r\n\r\n", kPost, "/c", 11, false},
        {"subscribe", "SUBSCRIBE /e HTTP/1.1\r\n\r\n", kSubscribe, "/e", 11, false},
        {"unsubscribe", "UNSUBSCRIBE /e HTTP/1.1\r\n\r\n", kUnsubscribe, "/e", 11, false},
        {"notify", "NOTIFY /e HTTP/1.1\r\n\r\n", kNotify, "/e", 11, false},
        {"longer_word", "GETX /a HTTP/1.1\r\n\r\n", kGet, "/a", 11, false},
        {"lower_case_is_unknown", "get /a HTTP/1.1\r\n\r\n", 0, "/a", 11, false},
        {"unknown", "FOO /disk/1 HTTP/1.1\r\n\r\n", 0, "/disk/1", 11, false},
        {"version_10_closes", "GET /a HTTP/1.0\r\n\r\n", kGet, "/a", 10, true},
        {"version_12_is_10", "GET /a HTTP/1.2\r\n\r\n", kGet, "/a", 10, true},
        {"empty", "\r\n\r\n", 0, "", 10, true},
        {"word_alone", "GET\r\n\r\n", kGet, "", 10, true},
        {"no_second_blank", "GET /a\r\nHost: b\r\n\r\n", kGet, "/a", 10, true},
        {"two_blanks", "GET  /a HTTP/1.1\r\n\r\n", kGet, "", 10, true},
        {"url_of_255", "GET " + std::string(255, 'u') + " HTTP/1.1\r\n\r\n", kGet, std::string(255, 'u'), 11, false},
        {"url_of_256", "GET " + std::string(256, 'u') + " HTTP/1.1\r\n\r\n", kGet, std::string(255, 'u'), 11, false},
        {"cut_inside_the_url", "GET /" + std::string(900, 'u'), kGet, "/" + std::string(254, 'u'), 10, true},
        {"line_end_before_it", "\r\nGET /x HTTP/1.1\r\n\r\n", kGet, "/x", 11, false},
        {"asks_for_close", get("cOnnection: Close\r\n"), kGet, "/x", 11, true},
        {"keeps", get("Connection: keep-alive\r\n"), kGet, "/x", 11, false},
        {"close_anywhere_behind_it", get("Connection: keep-alive\r\nX: enclosed\r\n"), kGet, "/x", 11, true},
        {"close_before_it", get("X: close\r\nConnection: keep-alive\r\n"), kGet, "/x", 11, false},
    }),
    [](const auto& row) { return std::string{row.param.name}; });

using Coding = AnnouncedBody::Coding;
struct BodyCase {
    const char* name;
    std::string lines;
    Coding coding;
    std::int64_t length;
};
class BodyHeader : public testing::TestWithParam<BodyCase> {};

TEST_P(BodyHeader, AnnouncesABody) {
    const AnnouncedBody body = http_announced_body("POST / HTTP/1.1\r\n" + GetParam().lines + "\r\n");
    EXPECT_EQ(body.coding, GetParam().coding);
    EXPECT_EQ(body.length, GetParam().length);
}

INSTANTIATE_TEST_SUITE_P(
    Http, BodyHeader,
    testing::ValuesIn<BodyCase>({
        {"none", "Host: a\r\n", Coding::none, 0},
        {"length", "Content-Length: 12\r\n", Coding::by_length, 12},
        {"no_blank_other_case", "content-LENGTH:12\r\n", Coding::by_length, 12},
        {"zero", "Content-Length: 0\r\n", Coding::by_length, 0},
        {"twice_the_same", "Content-Length: 5\r\nContent-Length: 5\r\n", Coding::by_length, 5},
        {"two_lengths", "Content-Length: 5\r\nContent-Length: 6\r\n", Coding::unreadable, 0},
        {"negative", "Content-Length: -1\r\n", Coding::unreadable, 0},
        {"word", "Content-Length: abc\r\n", Coding::unreadable, 0},
        {"empty_value", "Content-Length:\r\nX: 5\r\n", Coding::unreadable, 0},
        {"huge", "Content-Length: 99999999999999999999\r\n", Coding::by_length, 9223372036854775807},
        {"chunked", "Transfer-Encoding: chunked\r\n", Coding::chunked, 0},
        {"chunked_wins", "Content-Length: 5\r\ntransfer-encoding:gzip, Chunked\r\n", Coding::chunked, 0},
        {"chunked_elsewhere", "Transfer-Encoding: identity\r\nX: chunked\r\n", Coding::none, 0},
    }),
    [](const auto& row) { return std::string{row.param.name}; });

}  // namespace
