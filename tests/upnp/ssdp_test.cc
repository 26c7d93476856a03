#include "upnp/ssdp.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include "support/own_network.h"
#include "upnp/clients.h"
#include "upnp/ssdp_sockets.h"

namespace {

int port_of(const Socket& socket) {
    sockaddr_in own{};
    socklen_t size = sizeof own;
    getsockname(socket.fd(), reinterpret_cast<sockaddr*>(&own), &size);
    return ntohs(own.sin_port);
}

TEST(SsdpSockets, ShareTheGroupsPortAndMoveOnFromATakenReplyPort) {
    if (!enter_own_network()) GTEST_SKIP() << "no network namespace can be had here";
    ssdp_set_roles(ROLE_MEDIA_SERVER | ROLE_EXTRA_SOCKET);
    SsdpInstance first, second;
    first.address = second.address = ipv4_parse("127.0.0.1");
    ASSERT_TRUE(ssdp_open_sockets(first)) << error_text();
    ASSERT_TRUE(ssdp_open_sockets(second)) << error_text();
    EXPECT_EQ(port_of(first.reply_socket), 9080);
    EXPECT_EQ(port_of(second.reply_socket), 9081);
    EXPECT_EQ(port_of(second.extra_socket), 1031);

    SsdpInstance foreign;
    foreign.address = ipv4_parse("10.98.0.1");
    EXPECT_FALSE(ssdp_open_sockets(foreign));
    EXPECT_FALSE(foreign.listen_socket);
    EXPECT_FALSE(foreign.reply_socket);
    ssdp_set_roles(0);
}

TEST(SsdpHandler, NotesTheReceiverWhateverItSearches) {
    SsdpInstance instance;
    ssdp_handle_msearch(
        "M-SEARCH * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nMAN: \"ssdp:discover\"\r\nMX: 1\r\n"
        "ST: urn:schemas-upnp-org:device:Printer:1\r\nX: Netgear MP101\r\n\r\n",
        instance, ipv4_endpoint(ipv4_parse("10.0.0.5"), 50000));
    EXPECT_EQ(client_type("10.0.0.5"), ClientKind::netgear_mp101);
    EXPECT_EQ(instance.searches.size(), 0u);
    clients_reset();
}

}  // namespace
