#include "net/client.h"

#include <gtest/gtest.h>

#include <string>

#include "support/http_peer.h"
#include "support/scripted_server.h"

namespace {

using After = ScriptedServer::After;

const std::string kOk = "HTTP/1.1 200 OK\r\n";

TEST(OutgoingAnswer, GivesItsBodyOrNothing) {
    const struct {
        const char* name;
        std::string answer;
        std::optional<std::string> body;
        After after = After::hold;
    } rows[] = {
        {"by_length", kOk + "Content-Length: 5\r\n\r\nhello and more", "hello"},
        {"one_character_behind_the_colon", kOk + "Content-Length:123\r\n\r\n" + std::string(123, 'x'),
         std::string(23, 'x')},
        {"two_characters_behind_the_colon", kOk + "Content-Length:  5\r\n\r\nhello", ""},
        {"length_empty", kOk + "Content-Length:\r\n5: x\r\n\r\nhello", ""},
        {"length_cut", kOk + "Content-Length: 9\r\n\r\nhello", "hello", After::close},
        {"negative_length", kOk + "Content-Length: -1\r\n\r\nhello", ""},
        {"chunked", kOk + "transfer-encoding: Chunked\r\n\r\n3\r\nhel\r\n2\r\nlo\r\n0\r\n\r\n", "hello"},
        {"chunk_negative", kOk + "Transfer-Encoding: chunked\r\n\r\n3\r\nhel\r\n-1\r\nlo", "hel"},
        {"to_close", kOk + "Connection: close\r\n\r\nhello", "hello", After::close},
        {"no_end_announced", kOk + "Connection: keep-alive\r\n\r\nhello", std::nullopt, After::close},
        {"interim", "HTTP/1.1 100 Continue\r\n\r\n" + kOk + "Content-Length: 2\r\n\r\nok", "ok"},
        {"too_long", kOk + "Content-Length: 16777217\r\n\r\nhello", std::nullopt},
        {"chunk_too_long", kOk + "Transfer-Encoding: chunked\r\n\r\n1000001\r\nhello", std::nullopt},
        {"endless_header", kOk + "X: " + std::string(70'000, 'x'), std::nullopt},
        {"no_header", "", std::nullopt, After::close},
    };
    for (const auto& c : rows) {
        SCOPED_TRACE(c.name);
        ScriptedServer server{c.answer, c.after};
        const auto body = http_talk(TalkMode::get, server.url("/a"));
        ASSERT_EQ(body.has_value(), c.body.has_value());
        if (body) {
            EXPECT_EQ(body->text(), *c.body);
        }
    }
}

TEST(OutgoingRequest, IsSentToTheByte) {
    http_set_user_agent("Agent/1");
    ScriptedServer server{kOk + "Content-Length: 0\r\n\r\n"};
    const std::string host = "user:pw@127.0.0.1:" + std::to_string(server.port());
    EXPECT_TRUE(http_talk(TalkMode::get, "http://" + host + "/a/b"));
    EXPECT_EQ(server.last_request(), "GET /a/b HTTP/1.1\r\nAccept: */*\r\nHost: " + host +
                                         "\r\nConnection: Keep-Alive\r\nUser-Agent: Agent/1\r\n\r\n");
    EXPECT_TRUE(http_talk(TalkMode::post, server.url("/c"), "\"urn:x#Y\"", "<a/>"));
    EXPECT_EQ(
        server.last_request(),
        "POST /c HTTP/1.1\r\nAccept: */*\r\nUser-Agent: Agent/1\r\nHost: 127.0.0.1:" + std::to_string(server.port()) +
            "\r\nSOAPACTION: \"urn:x#Y\"\r\nCONTENT-TYPE: text/xml; charset=\"UTF-8\"\r\nContent-Length: 4\r\n"
            "Connection: Keep-Alive\r\n\r\n<a/>");
    http_set_user_agent({});
}

TEST(OutgoingRequest, CarriesExtraHeadersAndNoSecondUserAgent) {
    ScriptedServer server{kOk};
    const Socket socket = http_connect(server.url());
    ASSERT_TRUE(http_send_get(socket.fd(), "http://h/a", "User-Agent: other\r\nRange: bytes=1-\r\n"));
    ASSERT_TRUE(holds_within(10'000, [&] { return server.connections() == 1; }));
    EXPECT_EQ(server.last_request(),
              "GET /a HTTP/1.1\r\nAccept: */*\r\nHost: h\r\nConnection: Keep-Alive\r\nUser-Agent: other\r\n"
              "Range: bytes=1-\r\n\r\n");
}

TEST(OutgoingRequest, IsRefusedWhereItCouldNotBeSentAsItIs) {
    ScriptedServer server{kOk};
    const std::string base = server.url();
    for (const std::string& url : {std::string{"https://127.0.0.1/"}, std::string{"http://127.0.0.1:0/"}, base + "a b",
                                   base + "a\r\nX: y", base + std::string(600, 'u')})
        EXPECT_FALSE(http_talk(TalkMode::get, url)) << url;
    server.let_go();
    EXPECT_FALSE(http_connect(base)) << "nobody listens any more";
}

TEST(OutgoingConnection, TakesTheHostInFrontOfTheFirstColonAndTheLastPort) {
    ScriptedServer server{kOk};
    const std::string port = std::to_string(server.port());
    EXPECT_TRUE(http_connect("http://127.0.0.1:1:" + port + "/x:2"));
    EXPECT_TRUE(http_connect("http://127.0.0.1:" + port + "x/"));
}

}  // namespace
