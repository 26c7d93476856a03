#include "upnp/ssdp.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <cerrno>

#include "support/own_network.h"
#include "upnp/clients.h"
#include "upnp/ssdp_sockets.h"

namespace {

sockaddr_in own_endpoint(const Socket& socket) {
    sockaddr_in own{};
    socklen_t size = sizeof own;
    getsockname(socket.fd(), reinterpret_cast<sockaddr*>(&own), &size);
    return own;
}

std::string search_text(const std::string& target) {
    return "M-SEARCH * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nMAN: \"ssdp:discover\"\r\nMX: 1\r\nST: " + target +
           "\r\n\r\n";
}

TEST(SsdpSockets, ShareTheGroupsPortAndMoveOnFromATakenReplyPort) {
    if (!enter_own_network()) GTEST_SKIP() << "no network namespace can be had here";
    const auto port_of = [](const Socket& socket) { return ntohs(own_endpoint(socket).sin_port); };
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
    EXPECT_NE(errno, 0);
    EXPECT_FALSE(foreign.listen_socket);
    EXPECT_FALSE(foreign.reply_socket);
    ssdp_set_roles(0);
}

TEST(SsdpHandler, NotesTheReceiverAndOnlySearchesForUs) {
    SsdpInstance instance;
    const sockaddr_in sender = ipv4_endpoint(ipv4_parse("10.0.0.5"), 50000);
    ssdp_handle_msearch(search_text("urn:schemas-upnp-org:device:Printer:1\r\nX: Netgear MP101"), instance, sender);
    EXPECT_EQ(client_type("10.0.0.5"), ClientKind::netgear_mp101);
    EXPECT_EQ(instance.searches.size(), 0u);
    ssdp_handle_msearch(search_text("upnp:rootdevice"), instance, sender);
    EXPECT_EQ(instance.searches.size(), 1u);
    clients_reset();
}

}  // namespace
