// The network interfaces of this machine: the IPv4 addresses that can be served, and the hardware address from which
// the unique device name is made. Interfaces without an IPv4 address are not listed; an interface with several
// addresses is listed once for each. Failures of the system are printed to standard error.
#pragma once

#include <netinet/in.h>

#include <optional>
#include <string>
#include <vector>

#include "core/str.h"

struct NetworkInterface {
    std::string name;
    in_addr address{};
    bool up = false;
};

// Returns the first five interfaces in the system's order, loopback included; prints a warning if there are more.
// Returns nullopt on failure.
std::optional<std::vector<NetworkInterface>> get_interface_addresses();

// Returns all interfaces, without a limit; none on failure.
std::vector<NetworkInterface> network_interfaces();

// Whether the address is on the subnet of one of our interfaces.
bool is_on_own_subnet(in_addr address);

// Returns the hardware address of the named interface as "00:1a:2b:3c:4d:5e"; nullopt, after a message, if the name has
// 16 characters or more or no interface has it.
Text get_mac_address(const std::string& interface_name);

// Returns the first hardware address that is not all zeros, as those of loopback and tunnels are; nullopt if there is
// none.
Text first_hardware_address();

// Returns the IPv4 address of the named interface in dotted form; an empty text if it is not one of the first five.
std::string get_device_address(const std::string& interface_name);
