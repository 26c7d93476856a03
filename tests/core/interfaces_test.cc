#include "core/interfaces.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/socket.h"
#include "support/own_network.h"

namespace {

std::string listed(const std::optional<std::vector<NetworkInterface>>& interfaces) {
    if (!interfaces) return "failed";
    std::string text;
    for (const NetworkInterface& found : *interfaces)
        text += found.name + "=" + ipv4_text(found.address) + (found.up ? " " : "(down) ");
    return text;
}

TEST(Interfaces, AreListedInTheSystemsOrderFiveAtMost) {
    if (!enter_own_network()) GTEST_SKIP() << "no network namespace can be had here";
    EXPECT_EQ(listed(get_interface_addresses()), "lo=127.0.0.1 ");
    std::vector<LoopbackAlias> aliases;
    for (const char* address : {"192.168.1.1", "192.168.2.1", "192.168.3.1", "192.168.4.1"})
        aliases.emplace_back(static_cast<int>(aliases.size()) + 1, address);

    constexpr const char* kFive = "lo=127.0.0.1 lo:1=192.168.1.1 lo:2=192.168.2.1 lo:3=192.168.3.1 lo:4=192.168.4.1 ";
    EXPECT_EQ(listed(get_interface_addresses()), kFive);
    EXPECT_EQ(get_device_address("lo:2"), "192.168.2.1");
    EXPECT_EQ(first_hardware_address(), std::nullopt);

    aliases.emplace_back(5, "192.168.5.1");
    EXPECT_EQ(listed(get_interface_addresses()), kFive);
    EXPECT_EQ(network_interfaces().size(), 6u);
}

}  // namespace
