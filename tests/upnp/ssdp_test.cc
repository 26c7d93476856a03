#include "upnp/ssdp.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>

#include "core/str.h"
#include "support/own_network.h"
#include "upnp/announcement.h"
#include "upnp/clients.h"
#include "upnp/ssdp_sockets.h"

namespace {

constexpr int kPatienceMs = 10'000;  // a deadline, not a pace

std::string received(const Socket& socket) {
    std::array<char, 2048> buffer;
    if (!socket_wait_readable(socket.fd(), kPatienceMs)) return "nothing";
    const ssize_t n = recv(socket.fd(), buffer.data(), buffer.size(), 0);
    return n < 0 ? "failed" : std::string{buffer.data(), static_cast<std::size_t>(n)};
}

sockaddr_in own_endpoint(const Socket& socket) {
    sockaddr_in own{};
    socklen_t size = sizeof own;
    getsockname(socket.fd(), reinterpret_cast<sockaddr*>(&own), &size);
    return own;
}

bool becomes(const auto& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds{kPatienceMs};
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        sleep_ms(5);
    }
    return true;
}

std::string search_text(const std::string& target) {
    return "M-SEARCH * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nMAN: \"ssdp:discover\"\r\nMX: 1\r\nST: " + target +
           "\r\n\r\n";
}

struct Running {
    std::shared_ptr<SsdpInstance> instance = std::make_shared<SsdpInstance>();

    explicit Running(const char* address) {
        instance->interface_name = "test";
        instance->address = ipv4_parse(address);
        instance->http_port = 9000;
        opened = ssdp_open_sockets(*instance);
        if (opened) ssdp_start_threads(instance);
    }
    ~Running() { EXPECT_TRUE(stop()); }

    bool stop() {
        const std::array flags{&instance->listen_running, &instance->heartbeat_running, &instance->msearch_running};
        for (RunningFlag* flag : flags) flag->ask_to_stop();
        ssdp_wake(*instance);
        return becomes([&] { return std::ranges::all_of(flags, [](RunningFlag* f) { return f->idle(); }); });
    }

    bool opened = false;
};

class Ssdp : public testing::Test {
protected:
    void SetUp() override {
        if (!enter_own_network()) GTEST_SKIP() << "no network namespace can be had here";
        ssdp_register_msearch_handler();
        const in_addr loopback = ipv4_parse("127.0.0.1");
        control_point = ssdp_reply_socket(loopback, 40000);
        ASSERT_EQ(setsockopt(control_point.fd(), IPPROTO_IP, IP_MULTICAST_IF, &loopback, sizeof loopback), 0);
    }
    void TearDown() override {
        set_announcement_mode(AnnouncementMode::announcing);
        forget_callback_handlers();
        ssdp_set_roles(0);
    }

    Socket control_point;
};

TEST_F(Ssdp, DropsTheSearchesThatBecomeDueInStealthMode) {
    Running server{"127.0.0.1"};
    ASSERT_TRUE(server.opened) << error_text();
    set_announcement_mode(AnnouncementMode::silent);
    ssdp_handle_msearch(search_text("ssdp:all"), *server.instance, own_endpoint(control_point));
    EXPECT_TRUE(becomes([&] {
        std::scoped_lock lock{server.instance->searches_mutex};
        return server.instance->searches.size() == 0;
    }));
    set_announcement_mode(AnnouncementMode::announcing);
    ssdp_send(control_point.fd(), ssdp_group(), search_text("upnp:rootdevice"));
    EXPECT_EQ(str_between(received(control_point), "\r\nST: ", "\r\n"), "upnp:rootdevice");
}

TEST_F(Ssdp, SharesTheGroupsPortAndMovesOnFromATakenReplyPort) {
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

TEST(PacketHandlers, NineAreKeptInOrder) {
    forget_callback_handlers();
    const PacketHandler first = [](std::string_view, SsdpInstance&, const sockaddr_in&) {};
    register_callback_handler(first, "first");
    register_callback_handler(nullptr, "missing");
    for (int i = 0; i < 9; ++i) register_callback_handler(ssdp_handle_msearch, "more");
    ASSERT_EQ(callback_handlers().size(), 9u);
    EXPECT_EQ(callback_handlers()[0], first);
    EXPECT_EQ(callback_handlers()[8], &ssdp_handle_msearch);
    forget_callback_handlers();
}

}  // namespace
