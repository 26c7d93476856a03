#include "upnp/ssdp_message.h"

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "core/str.h"
#include "upnp/device_id.h"

namespace {

constexpr std::size_t kMessageCapacity = 512;

constexpr const char* kAlive =
    "NOTIFY * HTTP/1.1\r\nHOST: %s:%d\r\nCACHE-CONTROL: max-age=%u\r\nLOCATION: http://%s:%d%s\r\nNT: %s\r\n"
    "NTS: ssdp:alive\r\nSERVER: %s\r\nUSN: %s\r\n\r\n";
constexpr const char* kByebye = "NOTIFY * HTTP/1.1\r\nHOST: %s:%d\r\nNT: %s\r\nNTS: ssdp:byebye\r\nUSN: %s\r\n\r\n";
constexpr const char* kSearchReply =
    "HTTP/1.1 200 OK\r\nCACHE-CONTROL: max-age=%u\r\nDATE: %s\r\nEXT:\r\nLOCATION: http://%s:%d%s\r\nSERVER: %s\r\n"
    "ST: %s\r\nUSN: %s\r\nContent-Length: 0\r\n\r\n";

struct TargetRow {
    std::string_view type;  // empty: the device id itself
    unsigned role;          // 0: whatever the roles are
};

// In the order of announcements and of answers.
constexpr auto kTargets = std::to_array<TargetRow>({
    {"", 0},
    {"upnp:rootdevice", 0},
    {"urn:schemas-upnp-org:device:MediaServer:1", ROLE_MEDIA_SERVER},
    {"urn:schemas-upnp-org:service:ContentDirectory:1", ROLE_MEDIA_SERVER},
    {"urn:schemas-upnp-org:service:ConnectionManager:1", ROLE_MEDIA_SERVER},
    {"urn:schemas-upnp-org:device:MediaRenderer:1", ROLE_RENDERER},
    {"urn:schemas-upnp-org:service:ConnectionManager:1", ROLE_RENDERER},
    {"urn:schemas-upnp-org:service:AVTransport:1", ROLE_RENDERER},
    // Kept on purpose: a service that is announced as a "device".
    {"urn:schemas-upnp-org:device:RenderingControl:1", ROLE_RENDERER},
});

// Kept on purpose: the withdrawal names the rows in another order than the announcement.
constexpr auto kByebyeOrder = std::to_array<std::size_t>({0, 1, 2, 3, 4, 5, 8, 6, 7});
static_assert(kByebyeOrder.size() == kTargets.size());

bool is_announced(const SsdpDevice& device, const TargetRow& row) {
    return row.role == 0 || (device.roles & row.role) != 0;
}

std::string target_of(const SsdpDevice& device, const TargetRow& row) {
    return row.type.empty() ? device.id : std::string{row.type};
}

bool fits(const SsdpDevice& device, const TargetRow& row, std::string_view target) {
    return is_announced(device, row) && (target == "ssdp:all" || target == target_of(device, row));
}

std::string usn_of(const SsdpDevice& device, const TargetRow& row) {
    return row.type.empty() ? device.id : device.id + "::" + std::string{row.type};
}

std::string alive_text(const SsdpDevice& device, const TargetRow& row) {
    return text_format(kMessageCapacity, kAlive, kSsdpGroup, kSsdpPort, kSsdpMaxAge, device.address.c_str(),
                       device.http_port, kDescriptionPath, target_of(device, row).c_str(), kServerSignature,
                       usn_of(device, row).c_str());
}

std::string reply_text(const SsdpDevice& device, const TargetRow& row, const std::string& date) {
    return text_format(kMessageCapacity, kSearchReply, kSsdpMaxAge, date.c_str(), device.address.c_str(),
                       device.http_port, kDescriptionPath, kServerSignature, target_of(device, row).c_str(),
                       usn_of(device, row).c_str());
}

}  // namespace

bool ssdp_offers(const SsdpDevice& device, std::string_view target) {
    for (const TargetRow& row : kTargets) {
        if (fits(device, row, target)) return true;
    }
    return false;
}

std::vector<std::string> ssdp_messages(const SsdpDevice& device, std::string_view target, SsdpMessage kind,
                                       std::string_view date) {
    const std::string date_text{date};
    std::vector<std::string> messages;
    for (const TargetRow& row : kTargets) {
        if (!fits(device, row, target)) continue;
        messages.push_back(kind == SsdpMessage::alive ? alive_text(device, row) : reply_text(device, row, date_text));
    }
    return messages;
}

std::vector<std::string> ssdp_byebye_messages(const SsdpDevice& device) {
    std::vector<std::string> messages;
    for (const std::size_t index : kByebyeOrder) {
        const TargetRow& row = kTargets[index];
        if (!is_announced(device, row)) continue;
        messages.push_back(text_format(kMessageCapacity, kByebye, kSsdpGroup, kSsdpPort, target_of(device, row).c_str(),
                                       usn_of(device, row).c_str()));
    }
    return messages;
}
