#include "upnp/gena.h"

#include <gtest/gtest.h>

#include "core/socket.h"
#include "support/rows.h"
#include "upnp/gena_delivery.h"
#include "upnp/gena_message.h"

namespace {

TEST(SubscribeHeader, IsReadAsClientsWriteIt) {
    for (const auto& [header, timeout, sid, callback] :
         Rows<const char*, std::int32_t, std::optional<std::uint32_t>, Text>{
             {"CALLBACK: <http://h:1/a>\r\nTIMEOUT: Second-1800\r\n\r\n", 1800, {}, "<http://h:1/a>"},
             {"callback: <http://h/a><http://i/b>\r\ntimeout: Second-infinite\r\n\r\n",
              0,
              {},
              "<http://h/a><http://i/b>"},
             {"CALLBACK: x <a>\n\n", 0, {}, "<a"},      // the character before the line feed goes
             {"CALLBACK:<http://h/a>\r\n", 0, {}, {}},  // without the blank the bracket is skipped
             {"CALLBACK: http://h/a\r\nX: <b>\r\n", 0, {}, {}},
             {"SID: uuid:4294967295\r\nTIMEOUT: 300\r\nA: -5\r\n", 0, 4294967295u, {}},
             {"Sid: UUID:17\r\nTimeout: Second--7\r\n", -7, 17u, {}},
             {"SID: 17\r\n", 0, {}, {}},
         }) {
        const SubscribeHeader parsed = gena_parse_subscribe(header);
        EXPECT_EQ(parsed.timeout, timeout) << header;
        EXPECT_EQ(parsed.sid, sid) << header;
        EXPECT_EQ(parsed.callback, callback) << header;
    }
}

TEST(CallbackUrls, AreTakenApartInTurn) {
    // "host port host_port path"
    const std::pair<const char*, std::vector<std::string>> rows[] = {
        {"<http://10.0.0.1:80/e>", {"10.0.0.1 80 10.0.0.1:80 /e"}},
        {"<http://box/e?a=b:c>", {"bo 80 box /e?a=b:c"}},  // the host name loses its last character without a port
        {"<http://a:1/x><http://b:2/>", {"a 1 a:1 /x", "b 2 b:2 /"}},
        {"<http://a:1><http://b:2/>", {}},  // one without a path ends it
        {"<http://a:0/x><http://a:99999/x><http://a:-1/x>", {"a 0 a:0 /x", "a 0 a:99999 /x", "a 0 a:-1 /x"}},
        {"<http://a:1/x\ry><http://a:1/b c><http://b:2/ok>", {"b 2 b:2 /ok"}},
        {"<http:///x>", {" 80  /x"}},
    };
    for (const auto& [callback, expected] : rows) {
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

}  // namespace
