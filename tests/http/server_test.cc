// The server as receivers meet it: real connections over loopback to handlers of the test's own.
#include "http/server.h"

#include <gtest/gtest.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "core/settings.h"
#include "core/start_directory.h"
#include "http/respond.h"
#include "support/http_peer.h"
#include "support/own_network.h"
#include "support/scratch.h"
#include "upnp/clients.h"

namespace {

std::atomic<int> cut_off{0};

// Says what it was asked.
HandlerResult echo(HttpRequest& request) {
    const std::string text = std::to_string(request.method) + " " + request.url + " [" + request.content + "]";
    return http_send_text(request, 200, "text/plain", text);
}
HandlerResult named(HttpRequest& request, const char* name) {
    return http_send_text(request, 200, "text/plain", name);
}
HandlerResult description(HttpRequest& request) {
    return named(request, "description");
}
HandlerResult subscribe(HttpRequest& request) {
    return named(request, "subscribe");
}
HandlerResult disk(HttpRequest& request) {
    return named(request, "disk");
}
HandlerResult close_after(HttpRequest& request) {
    static_cast<void>(named(request, "bye"));
    return HandlerResult::close;
}
HandlerResult unknown_length(HttpRequest& request) {
    request.content_type = "text/plain";
    request.content_length = -1;
    http_send_header(request, 200, BodyFollows::yes);
    return socket_send_all(request.socket, "to the end") ? HandlerResult::keep : HandlerResult::close;
}
// A transfer that is too large for every buffer between us and the peer.
HandlerResult endless(HttpRequest& request) {
    request.content_type = "video/mpeg";
    request.content_length = 2'000'000'000;
    http_send_header(request, 200);
    const std::string piece(64 * 1024, 'v');
    while (socket_send_all(request.socket, piece)) {
    }
    ++cut_off;
    return HandlerResult::close;
}
HandlerResult base_url(HttpRequest& request) {
    return named(request, (request.base_url + " " + request.peer).c_str());
}

constexpr auto kRoutes = std::to_array<UrlRoute>({
    {"/DeviceDescription.xml", kGet | kHead, description},
    {"", kSubscribe, subscribe},
    {"/disk", kGet | kHead, disk},
    {"/echo", kGet | kHead | kPost | kNotify, echo},
    {"/close", kGet, close_after},
    {"/unknown", kGet, unknown_length},
    {"/endless", kGet, endless},
    {"/base", kGet, base_url},
});

class HttpServer : public testing::Test {
protected:
    void SetUp() override {
        cut_off = 0;
        for (const UrlRoute& route : kRoutes) register_http_handler(route.handler, route.methods, route.prefix);
    }
    void TearDown() override {
        http_forget_handlers();
        clients_reset();
        settings_free_all();
    }
};

std::string get(const std::string& url) {
    return "GET " + url + " HTTP/1.1\r\n\r\n";
}
std::string body_of(const std::string& answer) {
    const std::size_t end = answer.find("\r\n\r\n");
    return end == std::string::npos ? "(no answer) " + answer : answer.substr(end + 4);
}
std::string ask(const TestServer& server, const std::string& request) {
    HttpPeer peer = server.connect();
    peer.send(request);
    return body_of(peer.read_answer());
}

TEST_F(HttpServer, AnswersOneRequestAfterTheOtherOnAConnection) {
    TestServer server;
    HttpPeer peer = server.connect();
    peer.send(get("/echo1") + "POST /echo2 HTTP/1.1\r\nContent-Length: 2\r\n\r\nhi" + get("/echo3"));
    EXPECT_EQ(body_of(peer.read_answer()), "1 /echo1 []");
    EXPECT_EQ(body_of(peer.read_answer()), "4 /echo2 [hi]");
    EXPECT_EQ(body_of(peer.read_answer()), "1 /echo3 []");
    peer.send(get("/base"));
    const std::string answer = peer.read_answer();
    EXPECT_NE(answer.find("\r\nConnection: keep-alive\r\n"), std::string::npos);
    EXPECT_EQ(body_of(answer), "http://127.0.0.1:" + std::to_string(server.port()) + "/ 127.0.0.1");
}

TEST_F(HttpServer, TakesTheFirstRowWhoseMethodsAndPrefixFit) {
    TestServer server;
    using Row = std::pair<const char*, const char*>;
    for (const auto& [request_line, name] : {Row{"GET /DeviceDescription.xml", "description"},
                                             {"GET /diskette", "disk"},
                                             {"SUBSCRIBE /anything", "subscribe"},
                                             {"FOO /DeviceDescription.xml", "description"},
                                             {"FOO /disk/1", "subscribe"}})
        EXPECT_EQ(ask(server, std::string{request_line} + " HTTP/1.1\r\n\r\n"), name) << request_line;
    for (const std::string request_line : {"POST /DeviceDescription.xml", "NOTIFY /x", "GET /disc"}) {
        HttpPeer peer = server.connect();
        peer.send(request_line + " HTTP/1.1\r\n\r\n");
        const std::string all = peer.read_all();  // an error ends the connection
        EXPECT_TRUE(all.starts_with("HTTP/1.1 500 Internal Server Error\r\n")) << request_line << all;
        EXPECT_NE(all.find("\r\nContent-Length: 0\r\n"), std::string::npos) << request_line << all;
        EXPECT_TRUE(all.ends_with("\r\n\r\n")) << request_line << all;
    }
}

// read_all only returns cleanly when the server closed, without a reset, and ran nothing of what follows.
TEST_F(HttpServer, AnswersARequestThatIsTheLast) {
    const struct {
        const char* name;
        std::string sent, connection, body;  // connection: what the Connection line says
    } rows[] = {
        {"version_10", "GET /echo HTTP/1.0\r\n\r\n" + get("/echo"), "close", "1 /echo []"},
        {"by_the_handler", get("/close") + get("/echo"), "keep-alive", "bye"},
        {"length_unknown", get("/unknown") + get("/echo"), "keep-alive", "to the end"},
        {"unread_body", "GET /echo HTTP/1.1\r\nContent-Length: 24\r\n\r\n" + get("/echo"), "close", "1 /echo []"},
        {"post_header_too_small",
         "POST /echo HTTP/1.1\r\nContent-Length: 9\r\n" + std::string(1004, 'x') + "\r\n\r\nsome body", "close",
         "4 /echo []"},
        {"nul_in_the_header", std::string{"GET /echo HTTP/1.1\r\nX: a\0b\r\n\r\n", 30} + get("/echo"), "close",
         "1 /echo []"},
        {"empty_line", "\r\n\r\n" + get("/echo"), "close", "subscribe"},
    };
    TestServer server;
    for (const auto& c : rows) {
        SCOPED_TRACE(c.name);
        HttpPeer peer = server.connect();
        peer.send(c.sent);
        const std::string all = peer.read_all();
        EXPECT_EQ(body_of(all), c.body);
        EXPECT_NE(all.find("\r\nConnection: " + c.connection + "\r\n"), std::string::npos) << all;
    }
}

const std::string kMebibyte(1024 * 1024, 'm');

TEST_F(HttpServer, TakesOrRefusesBodies) {
    const struct {
        const char* name;
        std::string headers, sent;
        std::string expected;  // the body of the answer; "500" for the error header
    } rows[] = {
        {"shorter_than_announced", "Content-Length: 50\r\n", "hello", "4 /echo [hello]"},
        {"chunked", "Transfer-Encoding: chunked\r\n", "3\r\nhel\r\n2\r\nlo\r\n0\r\n\r\n", "4 /echo [hello]"},
        {"largest", "Content-Length: 1048576\r\n", kMebibyte, "4 /echo [" + kMebibyte + "]"},
        {"too_large", "Content-Length: 1048577\r\n", kMebibyte + "m", "500"},
    };
    TestServer server;
    for (const auto& c : rows) {
        SCOPED_TRACE(c.name);
        HttpPeer peer = server.connect();
        peer.send("POST /echo HTTP/1.1\r\n" + c.headers + "\r\n" + c.sent);
        peer.end_sending();
        const std::string all = peer.read_all();
        if (c.expected == "500") {
            EXPECT_TRUE(all.starts_with("HTTP/1.1 500 Internal Server Error\r\n")) << all;
            EXPECT_TRUE(all.ends_with("\r\n\r\n")) << all;
            EXPECT_NE(all.find("\r\nConnection: close\r\n"), std::string::npos) << all;
        } else {
            EXPECT_EQ(body_of(all), c.expected);
        }
    }
}

TEST_F(HttpServer, InvitesABodyThatWaitsForIt) {
    TestServer server;
    HttpPeer peer = server.connect();
    peer.send("POST /echo HTTP/1.1\r\nContent-Length: 2\r\nExpect: 100-continue\r\n\r\n");
    EXPECT_EQ(peer.read_until("\r\n\r\n"), "HTTP/1.1 100 Continue\r\nContent-Length: 0\r\n\r\n");
    peer.send("hi");
    EXPECT_EQ(body_of(peer.read_answer()), "4 /echo [hi]");
}

TEST_F(HttpServer, RecognisesReceiversByTheirUserAgent) {
    struct {
        const char* agent;
        ClientKind kind;
    } const rows[] = {
        {"Pelorama Remote CP", ClientKind::tv_remote},
        {"pelorama home-to-home gateway", ClientKind::tv_remote},  // another case: nothing learned
        {"Allegro-Software-WebClient/4.30 Allegro-Software-WebClient/4.32", ClientKind::philips_streamium},
        {"Allegro-Software-WebClient/4.32", ClientKind::roku_soundbridge},
        {"Pelorama Home-To-Home Gateway", ClientKind::generic},
    };
    TestServer server;
    for (const auto& row : rows) {
        EXPECT_EQ(ask(server, std::string{"GET /disk HTTP/1.1\r\nUser-Agent: "} + row.agent + "\r\n\r\n"), "disk");
        EXPECT_EQ(client_type("127.0.0.1"), row.kind) << row.agent;
    }
    clients_reset();
    settings_set(Setting::noxonclient, "127.0.0.1");
    HttpPeer noxon = server.connect();
    noxon.send("GET /disk HTTP/1.1\r\nUser-Agent: Mozilla/4.0 (compatible)\r\n\r\n");
    EXPECT_TRUE(noxon.read_all().ends_with("\r\n\r\ndisk")) << "this kind needs every connection closed";
}

bool set_loopback(bool up) {
    const Socket control{socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
    ifreq request{};
    request.ifr_name[0] = 'l';
    request.ifr_name[1] = 'o';
    request.ifr_flags = static_cast<short>(IFF_LOOPBACK | (up ? IFF_UP | IFF_RUNNING : 0));
    return ioctl(control.fd(), SIOCSIFFLAGS, &request) == 0;
}

TEST_F(HttpServer, EndsPeersThatWentSilentAndKeepsPausedOnes) {
    bool possible = false;
    std::jthread elsewhere{[&] {
        possible = enter_own_network();
        if (!possible) return;
        TestServer server;
        HttpPeer player = server.connect();
        player.send(get("/endless"));
        player.read_until("\r\n\r\n");
        connections_end_dead(5000);
        EXPECT_FALSE(holds_within(100, [] { return cut_off != 0; })) << "paused is not dead";
        EXPECT_TRUE(set_loopback(false));
        EXPECT_TRUE(holds_within(10'000, [] {
            connections_end_dead(300);
            return cut_off == 1;
        }));
        EXPECT_TRUE(set_loopback(true));
    }};
    elsewhere.join();
    if (!possible) GTEST_SKIP() << "no network namespace to be had";
}

TEST_F(HttpServer, EndsWithStatus255WhereNoPortIsToBeHad) {
    HttpServerInstance taken;
    taken.ip_text = "127.0.0.1";
    for (const int port : {70'000, -1}) {
        taken.port = port;
        EXPECT_EXIT(http_open_listener(taken), testing::ExitedWithCode(255), "") << port;
    }
}

TEST_F(HttpServer, LeadsToTheConfigurationSite) {
    TestServer server;
    EXPECT_EQ(ask(server, get("/disk")), "disk");
    const std::string site = "http://127.0.0.1:" + std::to_string(server.port()) + "/configpage/index.htm\">";
    EXPECT_EQ(read_whole_file(start_directory() + "/pelorama-config.html"),
              "<html><head><META http-equiv=\"refresh\" content=\"0; URL=" + site + "\n</head><body><a href=\"" + site +
                  "Pelorama MediaServer configuration</a></body></html>\n");
}

}  // namespace
