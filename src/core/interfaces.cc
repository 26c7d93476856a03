#include "core/interfaces.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "core/socket.h"
#include "core/str.h"
#include "core/thread.h"

namespace {

constexpr std::size_t kServedInterfaces = 5;
constexpr std::size_t kFirstRoom = 64;        // records; doubled while the list fills the room
constexpr std::size_t kMostRoom = 64 * 1024;  // more than any machine has; doubling ends here
constexpr const char* kNoHardwareAddress = "00:00:00:00:00:00";

// A request about the interface of that name, cut to the system's length.
ifreq request_for(const std::string& interface_name) {
    ifreq request{};
    std::memcpy(request.ifr_name, interface_name.data(), std::min(interface_name.size(), sizeof request.ifr_name - 1));
    return request;
}

// Returns up to `room` interface records; nullopt on failure, after printing the reason.
std::optional<std::vector<ifreq>> read_records(const Socket& socket, std::size_t room) {
    std::vector<ifreq> records(room);
    ifconf list{};
    list.ifc_len = static_cast<int>(room * sizeof(ifreq));
    list.ifc_req = records.data();
    if (ioctl(socket.fd(), SIOCGIFCONF, &list) != 0) {
        print_error("ioctl(GetIfConf)");
        return std::nullopt;
    }
    records.resize(static_cast<std::size_t>(list.ifc_len) / sizeof(ifreq));
    return records;
}

Socket open_query_socket() {
    Socket socket{::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    if (!socket) print_error("socket");
    return socket;
}

NetworkInterface describe(const Socket& socket, const ifreq& record) {
    sockaddr_in address{};
    std::memcpy(&address, &record.ifr_addr, sizeof address);
    NetworkInterface found{.name = std::string{record.ifr_name, strnlen(record.ifr_name, sizeof record.ifr_name)},
                           .address = address.sin_addr};
    // An alias ("eth0:1") has the flags of its interface. An interface that has just vanished counts as down.
    ifreq flags = request_for(found.name);
    found.up = ioctl(socket.fd(), SIOCGIFFLAGS, &flags) == 0 && (flags.ifr_flags & IFF_UP) != 0;
    return found;
}

}  // namespace

std::optional<std::vector<NetworkInterface>> get_interface_addresses() {
    const Socket socket = open_query_socket();
    if (!socket) return std::nullopt;
    // Ask for one more than is served, to detect that there are too many.
    auto records = read_records(socket, kServedInterfaces + 1);
    if (!records) return std::nullopt;
    if (records->size() > kServedInterfaces) {
        std::fprintf(stderr, "Warning: Possible overflow in IP Interface detection.\n");
        records->resize(kServedInterfaces);
    }
    std::vector<NetworkInterface> found;
    for (const ifreq& record : *records) found.push_back(describe(socket, record));
    return found;
}

std::vector<NetworkInterface> network_interfaces() {
    const Socket socket = open_query_socket();
    if (!socket) return {};
    for (std::size_t room = kFirstRoom;; room *= 2) {
        const auto records = read_records(socket, room);
        if (!records) return {};
        if (records->size() == room && room < kMostRoom) continue;
        std::vector<NetworkInterface> found;
        for (const ifreq& record : *records) found.push_back(describe(socket, record));
        return found;
    }
}

bool is_on_own_subnet(in_addr address) {
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) return false;
    bool found = false;
    for (const ifaddrs* at = list; at != nullptr && !found; at = at->ifa_next) {
        if (at->ifa_addr == nullptr || at->ifa_netmask == nullptr || at->ifa_addr->sa_family != AF_INET) continue;
        const in_addr_t own = reinterpret_cast<const sockaddr_in*>(at->ifa_addr)->sin_addr.s_addr;
        const in_addr_t mask = reinterpret_cast<const sockaddr_in*>(at->ifa_netmask)->sin_addr.s_addr;
        found = mask != 0 && ((own ^ address.s_addr) & mask) == 0;
    }
    freeifaddrs(list);
    return found;
}

Text get_mac_address(const std::string& interface_name) {
    if (interface_name.size() >= IFNAMSIZ) {
        std::fprintf(stderr, "Illegal Interface name passed.\n");
        return std::nullopt;
    }
    const Socket socket = open_query_socket();
    if (!socket) return std::nullopt;
    ifreq request = request_for(interface_name);
    if (ioctl(socket.fd(), SIOCGIFHWADDR, &request) != 0) {
        print_error("ioctl(GetHwAddr)");
        return std::nullopt;
    }
    unsigned char bytes[6];
    std::memcpy(bytes, request.ifr_hwaddr.sa_data, sizeof bytes);
    return text_format(18, "%02x:%02x:%02x:%02x:%02x:%02x", bytes[0], bytes[1], bytes[2], bytes[3], bytes[4], bytes[5]);
}

Text first_hardware_address() {
    for (const NetworkInterface& interface : network_interfaces()) {
        Text hardware = get_mac_address(interface.name);
        if (hardware && *hardware != kNoHardwareAddress) return hardware;
    }
    return std::nullopt;
}

std::string get_device_address(const std::string& interface_name) {
    const auto interfaces = get_interface_addresses();
    if (!interfaces) return {};
    for (const NetworkInterface& interface : *interfaces)
        if (interface.name == interface_name) return ipv4_text(interface.address);
    return {};
}
