// Who is dead and who has only paused is TCP's to say, so real connections take part: over a loopback of our own.
#include "net/connections.h"

#include <gtest/gtest.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <string>
#include <thread>

#include "core/socket.h"
#include "core/thread.h"

namespace {

Socket tcp_socket() {
    return Socket{socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)};
}

bool set_loopback(bool up) {
    ifreq request{};
    request.ifr_name[0] = 'l';
    request.ifr_name[1] = 'o';
    request.ifr_flags = static_cast<short>(IFF_LOOPBACK | (up ? IFF_UP | IFF_RUNNING : 0));
    return ioctl(tcp_socket().fd(), SIOCSIFFLAGS, &request) == 0;
}

bool is_open(const Socket& socket) {
    char byte;
    return recv(socket.fd(), &byte, 1, MSG_DONTWAIT) < 0;
}

void pause_and_go_silent() {
    sockaddr_in endpoint = ipv4_endpoint(ipv4_parse("127.0.0.1"), 9000);
    auto* const address = reinterpret_cast<sockaddr*>(&endpoint);
    const Socket listener = tcp_socket(), client = tcp_socket();
    ASSERT_EQ(bind(listener.fd(), address, sizeof endpoint), 0);
    ASSERT_EQ(listen(listener.fd(), 1), 0);
    connect(client.fd(), address, sizeof endpoint);
    ASSERT_TRUE(socket_wait_readable(listener.fd(), 10'000));
    const Socket sender{accept4(listener.fd(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC)};
    connection_opened(sender.fd());
    const std::string piece(64 * 1024, 'v');  // nobody reads what is sent
    while (send(sender.fd(), piece.data(), piece.size(), 0) > 0 || socket_wait_writable(sender.fd(), 100)) {
    }
    connections_end_dead(5000);
    EXPECT_TRUE(is_open(sender)) << "paused is not dead";
    EXPECT_TRUE(set_loopback(false));
    for (const std::uint32_t start = uptime_ms(); is_open(sender) && uptime_ms() - start < 10'000; sleep_ms(5))
        connections_end_dead(300);
    EXPECT_FALSE(is_open(sender));
    connection_closing(sender.fd());
}

TEST(Connections, EndPeersThatWentSilentAndKeepPausedOnes) {
    bool possible = false;
    std::jthread{[&] {
        possible = unshare(CLONE_NEWNET) == 0 && set_loopback(true);
        if (possible) pause_and_go_silent();
    }}.join();
    if (!possible) GTEST_SKIP() << "no network namespace to be had";
}

}  // namespace
