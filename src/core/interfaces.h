// The network interfaces of this machine: which IPv4 addresses the server can be served on, and the hardware address
// that its unique device name is made from. Only interfaces that have an IPv4 address are seen; an interface with
// several addresses is listed once for each.
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

// In the order the system lists them. At most five are looked at, loopback included; with more than that a warning goes
// to standard error. Missing (after a message on standard error) when the system does not answer.
std::optional<std::vector<NetworkInterface>> get_interface_addresses();

// All of them, without the limit and its warning; empty when the system does not answer.
std::vector<NetworkInterface> network_interfaces();

// Whether the address is on a subnet that one of our interfaces is on.
bool is_on_own_subnet(in_addr address);

// The hardware address of the named interface as "00:1a:2b:3c:4d:5e"; missing (after a message on standard error) for a
// name of 16 characters or more, and for an interface that is not there.
Text get_mac_address(const std::string& interface_name);

// The first hardware address that is not all zeros, loopback and tunnels having such; missing when there is none.
Text first_hardware_address();

// The IPv4 address of the named interface in dotted form; empty when there is none.
std::string get_device_address(const std::string& interface_name);
