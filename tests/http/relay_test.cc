#include "handlers/relay.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "core/process.h"
#include "handlers/now_playing.h"
#include "http/url_table.h"
#include "support/handler_call.h"
#include "support/http_peer.h"
#include "support/scripted_server.h"
#include "support/store_fixture.h"
#include "upnp/clients.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

const std::string kOk = "HTTP/1.1 200 OK\r\n";
constexpr const char* kNotFound = "HTTP/1.1 404 Not Found";

class Relay : public StoreFixture {
protected:
    void SetUp() override {
        ignore_broken_pipes();
        now_playing_reset();
        clients_reset();
        StoreFixture::SetUp();
        register_http_handler(handle_http_proxy, kGet | kHead, "/httpproxy");
    }
    void TearDown() override {
        http_forget_handlers();
        StoreFixture::TearDown();
    }

    static ObjectId add(const std::string& url) {
        EXPECT_EQ(db_add_item({.title = "x", .path = url}), AddResult::added);
        return id_of(url);
    }
    static std::string path_of(ObjectId id) { return "/httpproxy/" + std::to_string(id) + ".mp3"; }
    std::string path_to(const std::string& url) { return path_of(add(url)); }
    // Through a real listener, since bytes are moved between TCP sockets only.
    struct Answer {
        std::string head, body;
    };
    Answer ask(const std::string& path, const std::string& lines = {}, const std::string& method = "GET") const {
        HttpPeer peer = server_.connect();
        EXPECT_TRUE(peer.send(method + " " + path + " HTTP/1.1\r\nConnection: close\r\n" + lines + "\r\n"));
        const std::string whole = peer.read_all();
        const std::size_t end = whole.find("\r\n\r\n");
        if (end == std::string::npos) return {whole, {}};
        return {whole.substr(0, end + 2), whole.substr(end + 4)};
    }
    static int plays(ObjectId id) {
        const StoreLock lock;
        return item_of(lock, tree_object(lock, id))->play_count;
    }

    TestServer server_;
};

TEST_F(Relay, PassesAFileOnAndCountsAPlay) {
    ScriptedServer source{kOk +
                          "Content-Type: audio/flac\r\nContent-Length: 5\r\nAccept-Ranges: bytes\r\n"
                          "Set-Cookie: a=b\r\nicy-notice1: " +
                          std::string(700, 'x') + "\r\nicy-metaint:8192\r\n\r\nhello and more"};
    const ObjectId id = add(source.url("/a?b"));
    const Answer answer = ask(path_of(id));
    EXPECT_THAT(answer.head,
                AllOf(HasSubstr("HTTP/1.1 200 OK\r\n"), HasSubstr("\r\nContent-Type: audio/flac\r\n"),
                      HasSubstr("\r\nContent-Length: 5\r\n"), HasSubstr("\r\nAccept-Ranges: bytes\r\n"),
                      HasSubstr("\r\nicy-metaint: 8192\r\n"), Not(HasSubstr("notice")), Not(HasSubstr("Set-Cookie"))));
    EXPECT_EQ(answer.body, "hello");
    EXPECT_EQ(plays(id), 1);
    EXPECT_THAT(source.last_request(), AllOf(HasSubstr("GET /a?b HTTP/1.1\r\n"), HasSubstr("\r\nConnection: close\r\n"),
                                             HasSubstr("\r\nVia: 1.1 pelorama-"), HasSubstr("\r\nUser-Agent: Pelorama"),
                                             Not(HasSubstr("Range")), Not(HasSubstr("Icy"))));
    EXPECT_THAT(call_handler(handle_rpc, "/rpc?playing").body, HasSubstr(std::to_string(id) + "\t4\t"));
}

TEST_F(Relay, AsksForRangesAndTitlesOnBehalfOfTheReceiver) {
    ScriptedServer source{
        "HTTP/1.1 206 Partial Content\r\nContent-Length: 4\r\nContent-Range: bytes 2-5/*\r\n\r\nabcd"};
    const std::string path = path_to(source.url("/a.mp3"));
    const Answer answer = ask(path, "range: bytes=2-5\r\nIcy-MetaData: 1\r\n");
    EXPECT_THAT(source.last_request(),
                AllOf(HasSubstr("\r\nRange: bytes=2-5\r\n"), HasSubstr("\r\nIcy-MetaData: 1\r\n")));
    EXPECT_THAT(answer.head, AllOf(HasSubstr("HTTP/1.1 206 Partial Content\r\n"), HasSubstr("audio/mpeg"),
                                   HasSubstr("\r\nContent-Range: bytes 2-5/*\r\n")));
    EXPECT_EQ(answer.body, "abcd");

    ScriptedServer refusing{
        "HTTP/1.1 416 Range Not Satisfiable\r\nContent-Range: bytes */100\r\nContent-Length: 9\r\n\r\nsome page"};
    const Answer refused = ask(path_to(refusing.url()), "Range: bytes=100-\r\n");
    EXPECT_THAT(refused.head, AllOf(HasSubstr("HTTP/1.1 416 "), HasSubstr("\r\nContent-Range: bytes */100\r\n"),
                                    HasSubstr("\r\nContent-Length: 0\r\n")));
    EXPECT_EQ(refused.body, "");
}

TEST_F(Relay, ClosesTheConnectionWhereTheLengthWasNotMet) {
    ScriptedServer cut{kOk + "Content-Length: 9\r\n\r\nhello"};
    HttpPeer peer = server_.connect();
    ASSERT_TRUE(peer.send("GET " + path_to(cut.url()) + " HTTP/1.1\r\n\r\n"));
    EXPECT_THAT(peer.read_all(), testing::EndsWith("\r\n\r\nhello"));
}

TEST_F(Relay, TakesChunksApart) {
    using Row = std::pair<const char*, const char*>;
    for (const auto& [chunks, body] : {Row{"3;x=y\r\nhel\r\n2\r\nlo\r\n0\r\n\r\nmore", "hello"},
                                       {"3\r\nhel\r\nfffffffffffffff0\r\nlo", "hel"},
                                       {"3\r\nhello\r\n", "hel"}}) {
        ScriptedServer source{kOk + "Transfer-Encoding: chunked\r\n\r\n" + chunks};
        EXPECT_EQ(ask(path_to(source.url())).body, body) << chunks;
    }
}

TEST_F(Relay, FollowsRedirectsAndPlaylistsToTheRangeOfTheStream) {
    ScriptedServer stream{kOk + "Content-Type: audio/aac\r\n\r\nlive"};
    ScriptedServer answers{kOk + "Content-Type: audio/x-scpls\r\nContent-Length: 999\r\n\r\n[playlist]\r\nFile1=" +
                           stream.url("/s") + "\r\n"};
    ScriptedServer redirect{"HTTP/1.1 302 Found\r\nLocation: " + answers.url("/p") + "\r\n\r\n"};
    const Answer answer = ask(path_to(redirect.url()), "Icy-MetaData: 1\r\nRange: bytes=500-\r\n");
    EXPECT_THAT(answer.head, HasSubstr("audio/aac"));
    EXPECT_EQ(answer.body, "live");
    EXPECT_THAT(stream.last_request(), AllOf(HasSubstr("GET /s "), HasSubstr("\r\nIcy-MetaData: 1\r\n"),
                                             HasSubstr("\r\nRange: bytes=500-\r\n")));
    // It has fewer bytes than the receiver wants to skip.
    ScriptedServer playlist{"HTTP/1.1 416 No\r\nContent-Length: 0\r\n\r\n"};
    EXPECT_THAT(ask(path_to(playlist.url("/listen.pls")), "Range: bytes=500-\r\n").head, HasSubstr(kNotFound));
    EXPECT_EQ(playlist.connections(), 2);
    EXPECT_THAT(playlist.last_request(), Not(HasSubstr("Range")));
}

TEST_F(Relay, FollowsFiveRedirectsAndNoMore) {
    ScriptedServer stream{kOk + "Content-Length: 2\r\n\r\nok"};
    std::string next = stream.url();
    std::vector<std::unique_ptr<ScriptedServer>> redirects;
    for (int i = 1; i <= 6; ++i) {
        redirects.push_back(std::make_unique<ScriptedServer>("HTTP/1.0 301 Moved\r\nLocation: " + next + "\r\n\r\n"));
        next = redirects.back()->url();
        if (i == 5) {
            EXPECT_EQ(ask(path_to(next)).body, "ok");
        }
    }
    EXPECT_THAT(ask(path_to(next)).head, HasSubstr(kNotFound));
    EXPECT_EQ(stream.connections(), 1);
}

TEST_F(Relay, NamesUserAndPasswordWhereTheyBelong) {
    ScriptedServer source{kOk + "Content-Length: 0\r\n\r\n"};
    const std::string host = "127.0.0.1:" + std::to_string(source.port());
    for (const auto& [login, encoded] : {std::pair{"joe%40x:p", "am9lQHg6cA=="}, {"a", "YQ=="}}) {
        ask(path_to("http://" + std::string{login} + "@" + host + "/"));
        EXPECT_THAT(source.last_request(), AllOf(HasSubstr("\r\nAuthorization: Basic " + std::string{encoded} + "\r\n"),
                                                 HasSubstr("\r\nHost: " + host + "\r\n")));
    }
}

TEST_F(Relay, FindsNothingWhereNoStreamIs) {
    for (const std::string& answer :
         {std::string{}, std::string{"HTTP/1.1 401 Unauthorized\r\n\r\n"},
          kOk + "Content-Length: 3\r\nContent-Length: 4\r\n\r\nabcd",
          std::string{"HTTP/1.1 302 Found\r\nLocation: https://127.0.0.1/\r\n\r\n"},
          std::string{"HTTP/1.1 302 Found\r\nLocation: http://127.0.0.1:9/ HTTP/1.1\r\n\r\n"},
          kOk + "Content-Type: audio/x-mpegurl\r\n\r\n#EXTM3U\r\n/etc/passwd\r\n",
          std::string{"SSH-2.0-x 200 OK\r\n\r\n"}}) {
        ScriptedServer source{answer};
        const ObjectId id = add(source.url());
        EXPECT_THAT(ask(path_of(id)).head, HasSubstr(kNotFound)) << answer;
        EXPECT_EQ(plays(id), 0) << answer;
    }
    for (const std::string& path : {path_to("ftp://127.0.0.1/a.mp3"), path_of(999'999), std::string{"/httpproxy"}})
        EXPECT_THAT(ask(path).head, HasSubstr(kNotFound)) << path;
}

TEST_F(Relay, LoopsAreNoSource) {
    const std::string here = "http://127.0.0.1:" + std::to_string(server_.port());
    // To one of our own pages, directly or through somebody else, and from a server that we have asked ourselves.
    EXPECT_THAT(ask(path_to(here + "/configpage/index.htm")).head, HasSubstr(kNotFound));
    ScriptedServer redirect{"HTTP/1.1 302 Found\r\nLocation: " + here + "/\r\n\r\n"};
    EXPECT_THAT(ask(path_to(redirect.url())).head, HasSubstr(kNotFound));
    ScriptedServer source{kOk + "Content-Length: 2\r\n\r\nok"};
    const std::string path = path_to(source.url());
    EXPECT_EQ(ask(path, "Via: 1.1 10.0.0.1:9000\r\n").body, "ok");
    const std::string request = source.last_request();
    const std::size_t via = request.find("\nVia: 1.1 10.0.0.1:9000, 1.1 ");
    ASSERT_NE(via, std::string::npos);
    const std::string line = request.substr(via + 1, request.find('\n', via + 1) - via);
    EXPECT_THAT(line, Not(HasSubstr("127.0.0.1")));
    EXPECT_THAT(ask(path, line).head, HasSubstr(kNotFound));
}

}  // namespace
