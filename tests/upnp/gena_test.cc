#include "upnp/gena.h"

#include <gmock/gmock.h>
#include <sys/socket.h>

#include <string>
#include <vector>

#include "core/settings.h"
#include "core/socket.h"
#include "core/str.h"
#include "db/store.h"
#include "support/handler_call.h"
#include "support/http_peer.h"
#include "support/scripted_server.h"
#include "upnp/gena_delivery.h"
#include "upnp/gena_message.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

namespace {

TEST(SubscribeHeader, IsReadAsReceiversWriteIt) {
    struct {
        const char* header;
        std::int32_t timeout;
        std::optional<std::uint32_t> sid;
        Text callback;
    } const cases[] = {
        {"CALLBACK: <http://h:1/a>\r\nTIMEOUT: Second-1800\r\n\r\n", 1800, {}, "<http://h:1/a>"},
        {"callback: <http://h/a><http://i/b>\r\ntimeout: Second-infinite\r\n\r\n", 0, {}, "<http://h/a><http://i/b>"},
        {"CALLBACK: x <a>\n\n", 0, {}, "<a"},      // the character before the line feed goes
        {"CALLBACK:<http://h/a>\r\n", 0, {}, {}},  // without the blank the bracket is skipped
        {"CALLBACK: http://h/a\r\nX: <b>\r\n", 0, {}, {}},
        {"SID: uuid:4294967295\r\nTIMEOUT: 300\r\nA: -5\r\n", 0, 4294967295u, {}},
        {"Sid: UUID:17\r\nTimeout: Second--7\r\n", -7, 17u, {}},
        {"SID: 17\r\n", 0, {}, {}},
    };
    for (const auto& c : cases) {
        const SubscribeHeader parsed = gena_parse_subscribe(c.header);
        EXPECT_EQ(parsed.timeout, c.timeout) << c.header;
        EXPECT_EQ(parsed.sid, c.sid) << c.header;
        EXPECT_EQ(parsed.callback, c.callback) << c.header;
    }
}

TEST(CallbackUrls, AreTakenApartInTurn) {
    // "host port host_port path"
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"<http://10.0.0.1:80/e>", {"10.0.0.1 80 10.0.0.1:80 /e"}},
        {"<http://box/e?a=b:c>", {"bo 80 box /e?a=b:c"}},  // the host name loses its last character without a port
        {"<http://a:1/x><http://b:2/>", {"a 1 a:1 /x", "b 2 b:2 /"}},
        {"<http://a:1><http://b:2/>", {}},  // one without a path ends it
        {"<http://a:0/x><http://a:99999/x><http://a:-1/x>", {"a 0 a:0 /x", "a 0 a:99999 /x", "a 0 a:-1 /x"}},
        {"<http://a:1/x\ry><http://a:1/b c><http://b:2/ok>", {"b 2 b:2 /ok"}},
        {"<http:///x>", {" 80  /x"}},
    };
    for (const auto& [callback, expected] : cases) {
        std::vector<std::string> urls;
        for (const CallbackUrl& url : gena_callback_urls(callback))
            urls.push_back(url.host + " " + std::to_string(url.port) + " " + url.host_port + " " + url.path);
        EXPECT_EQ(urls, expected) << callback;
    }
}

TEST(EventMessage, HasItsLinesInOrder) {
    EXPECT_EQ(
        gena_notify_message({.host = "10.0.0.1", .port = 81, .host_port = "10.0.0.1:81", .path = "/e"}, 7, 3, "body"),
        "NOTIFY /e HTTP/1.1\r\nHOST: 10.0.0.1:81\r\nCONTENT-TYPE: text/xml\r\nCONTENT-LENGTH: 4\r\n"
        "NT: upnp:event\r\nNTS: upnp:propchange\r\nSID: uuid:7\r\nSEQ: 3\r\nUser-Agent: SSDP CD Events\r\n"
        "Cache-Control: no-cache\r\n\r\nbody");
    EXPECT_EQ(gena_update_id_body(5, "1,2,3,4"),
              "<e:propertyset xmlns:e=\"urn:schemas-upnp-org:event-1-0\">\n<e:property>\n"
              "<SystemUpdateID>5</SystemUpdateID>\n</e:property>\n<e:property>\n"
              "<ContainerUpdateIDs>1,2,3,4</ContainerUpdateIDs>\n</e:property>\n<e:property>\n"
              "<TransferIDs></TransferIDs>\n</e:property>\n</e:propertyset>\n");
    EXPECT_EQ(gena_cm_body("a,b", ""),
              "<e:propertyset xmlns:e=\"urn:schemas-upnp-org:event-1-0\">\n<e:property>\n"
              "<SourceProtocolInfo>a,b</SourceProtocolInfo>\n</e:property>\n<e:property>\n"
              "<SinkProtocolInfo></SinkProtocolInfo>\n</e:property>\n<e:property>\n"
              "<CurrentConnectionIDs>0</CurrentConnectionIDs>\n</e:property>\n</e:propertyset>\n");
}

TEST(EventDelivery, KeepsToNearNetworks) {
    for (const char* near : {"127.9.9.9", "10.1.2.3", "172.16.0.1", "172.31.255.255", "192.168.7.7", "169.254.1.1"})
        EXPECT_TRUE(gena_may_contact(ipv4_parse(near))) << near;
    for (const char* far : {"172.32.0.1", "172.15.0.1", "11.0.0.1", "192.169.0.1", "224.0.0.1", "255.255.255.255"})
        EXPECT_FALSE(gena_may_contact(ipv4_parse(far))) << far;
}

TEST(EventDelivery, GoesOnToTheNextUrlOfACallback) {
    ScriptedServer receiver{"HTTP/1.1 200 OK\r\n\r\n"};
    const std::string dead = "<http://127.0.0.1:9/a>";  // nobody listens there
    EXPECT_FALSE(gena_deliver(dead, 1, 0, "x"));
    EXPECT_TRUE(gena_deliver(dead + "<" + receiver.url("/b") + ">", 1, 0, "x"));
    ASSERT_TRUE(holds_within(10'000, [&] { return receiver.connections() == 1; }));
    EXPECT_THAT(receiver.last_request(), StartsWith("NOTIFY /b HTTP/1.1\r\nHOST: 127.0.0.1:"));
}

class Gena : public testing::Test {
protected:
    Gena() {
        settings_set_defaults();
        db_create();
        gena_init();
    }
    ~Gena() override {
        gena_shutdown();
        db_destroy();
        settings_free_all();
    }
    static std::string reply_to(HttpHandler handler, const std::string& lines) {
        return call_handler(handler, "/ContentDirectory/Event", lines,
                            handler == gena_subscribe ? kSubscribe : kUnsubscribe)
            .head;
    }
};

TEST_F(Gena, SubscribesRenewsAndUnsubscribes) {
    // A port that nobody listens on.
    const auto reply = reply_to(gena_subscribe, "CALLBACK: <http://127.0.0.1:9/e>\r\nTIMEOUT: Second-1800\r\n");
    EXPECT_THAT(reply,
                MatchesRegex("HTTP/1.1 200 OK\r\nDATE: [^\r]* GMT\r\nSERVER: Linux/2.x.x, UPnP/1.0, Pelorama UPnP "
                             "SDK/1.0\r\nSID: uuid:[0-9]+\r\nTIMEOUT: second-300\r\n.*"));
    const std::string sid = "SID: " + str_between(reply, "\r\nSID: ", "\r\n").value_or("?") + "\r\n";
    EXPECT_THAT(reply_to(gena_subscribe, sid + "TIMEOUT: Second-1800\r\n"),
                HasSubstr(sid + "TIMEOUT: Second-1800\r\n"));
    EXPECT_THAT(reply_to(gena_unsubscribe, sid), StartsWith("HTTP/1.1 200 OK\r\n"));
    for (const std::string& lines : {sid, std::string{"CALLBACK: nothing\r\n"}})
        EXPECT_THAT(reply_to(gena_subscribe, lines), StartsWith("HTTP/1.1 412 Precondition Failed\r\n")) << lines;
}

// Takes connections without reading from them, so that a large event waits for it.
class NeverReads {
public:
    NeverReads() : listener_(socket(AF_INET, SOCK_STREAM, 0)) {
        const int least = 1;
        setsockopt(listener_.fd(), SOL_SOCKET, SO_RCVBUF, &least, sizeof least);
        sockaddr_in address = ipv4_endpoint(ipv4_parse("127.0.0.1"), 0);
        socklen_t size = sizeof address;
        bind(listener_.fd(), reinterpret_cast<sockaddr*>(&address), size);
        listen(listener_.fd(), 64);
        getsockname(listener_.fd(), reinterpret_cast<sockaddr*>(&address), &size);
        callback_ = "CALLBACK: <http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/>\r\n";
    }
    const std::string& callback() const { return callback_; }
    std::vector<Socket> take(std::size_t count) const {
        std::vector<Socket> taken;
        while (taken.size() < count && socket_wait_readable(listener_.fd(), 10'000))
            taken.emplace_back(accept(listener_.fd(), nullptr, nullptr));
        return taken;
    }

private:
    Socket listener_;
    std::string callback_;
};

TEST_F(Gena, AnEventThatFoundNoThreadGoesOutWhenThereIsOneAgain) {
    const std::string large(1 << 20, '1');
    const NeverReads dead;
    const ScriptedServer living{"HTTP/1.1 200 OK\r\n\r\n"};
    std::vector<std::vector<Socket>> held;
    for (int round = 1; round <= 3; ++round) {
        for (int slot = 0; slot < kSubscriberSlots; ++slot) reply_to(gena_subscribe, dead.callback());
        dead.take(kSubscriberSlots);
        gena_send_update_id_event(round, large);
        held.push_back(dead.take(kSubscriberSlots));
        gena_init();  // the subscribers go, the threads that send to them stay
    }
    db_destroy();  // the ticker is to find no changes: update ids go on in other tests
    RunningFlag ticker;
    gena_start_ticker(ticker);
    // In the highest slot, told last: the four before it take what is left of 64 threads.
    reply_to(gena_subscribe, "CALLBACK: <" + living.url() + ">\r\n");
    ASSERT_TRUE(holds_within(30'000, [&] { return living.connections() == 1; }));
    for (int others = 0; others < 4; ++others) {
        reply_to(gena_subscribe, dead.callback());
        dead.take(1);
    }
    gena_send_update_id_event(4, large);
    held.clear();
    EXPECT_TRUE(holds_within(30'000, [&] { return living.connections() == 2; }));
    ticker.ask_to_stop();
    EXPECT_TRUE(holds_within(10'000, [&] { return ticker.idle(); }));
}

}  // namespace
