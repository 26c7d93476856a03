#include "upnp/gena_delivery.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

#include "core/deadline.h"
#include "core/interfaces.h"
#include "core/socket.h"
#include "upnp/gena_message.h"

namespace {

constexpr int kDeadlineMs = 5000;

Socket connect_to(const CallbackUrl& url, int timeout_ms) {
    if (url.port == 0 || timeout_ms <= 0) return Socket{};
    const auto address = ipv4_resolve(url.host);
    if (!address || !gena_may_contact(*address)) return Socket{};
    return socket_connect(ipv4_endpoint(*address, static_cast<std::uint16_t>(url.port)), timeout_ms);
}

}  // namespace

bool gena_deliver(std::string_view callback, std::uint32_t sid, std::int32_t seq, std::string_view body) {
    const Deadline deadline{kDeadlineMs};
    const std::vector<CallbackUrl> urls = gena_callback_urls(callback);
    auto untried = static_cast<int>(urls.size());
    for (const CallbackUrl& url : urls) {
        // Each URL gets an equal share of the time that is left, so that a dead host leaves some for the next one.
        const Socket socket = connect_to(url, deadline.left_ms() / untried--);
        if (!socket) continue;
        if (!socket_send_within(socket.fd(), gena_notify_message(url, sid, seq, body), deadline.left_ms())) continue;
        socket_shutdown(socket.fd());
        return true;
    }
    return false;
}

bool gena_may_contact(in_addr address) {
    struct Network {
        std::uint32_t prefix, mask;
    };
    constexpr auto kNear = std::to_array<Network>({
        {0x7f000000, 0xff000000},  // 127/8
        {0xa9fe0000, 0xffff0000},  // 169.254/16
        {0x0a000000, 0xff000000},  // 10/8
        {0xac100000, 0xfff00000},  // 172.16/12
        {0xc0a80000, 0xffff0000},  // 192.168/16
    });
    const std::uint32_t bits = ntohl(address.s_addr);
    return std::ranges::any_of(kNear, [&](const Network& near) { return (bits & near.mask) == near.prefix; }) ||
           is_on_own_subnet(address);
}
