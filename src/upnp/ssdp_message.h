// The messages of discovery: which targets the server answers to, and the texts of NOTIFY and of search answers (UPnP
// Device Architecture 1.0, section 1). Pure: nothing here sends.
#pragma once

#include <string>
#include <string_view>
#include <vector>

constexpr const char* kSsdpGroup = "239.255.255.250";
constexpr int kSsdpPort = 1900;
constexpr unsigned kSsdpMaxAge = 1810;  // seconds for which an announcement holds
constexpr const char* kDescriptionPath = "/DeviceDescription.xml";

// What the server is to the network; a set of bits.
enum SsdpRole : unsigned {
    ROLE_MEDIA_SERVER = 1,
    ROLE_RENDERER = 2,
    ROLE_EXTRA_SOCKET = 4,  // no announcements of its own, but a further socket for answers
};

// The device that is announced, and where its description is.
struct SsdpDevice {
    std::string id;       // the unique device name
    std::string address;  // dotted, of the interface that is spoken on
    int http_port = 0;
    unsigned roles = 0;
};

enum class SsdpMessage { alive, search_reply };

// Whether anything of the device answers to a search target: "ssdp:all", the device's id, or one of its types, exactly
// as written.
bool ssdp_offers(const SsdpDevice& device, std::string_view target);

// The messages for a target, in announcement order: all of them for "ssdp:all". date is the DATE of search replies.
std::vector<std::string> ssdp_messages(const SsdpDevice& device, std::string_view target, SsdpMessage kind,
                                       std::string_view date);
// The set that withdraws the device.
std::vector<std::string> ssdp_byebye_messages(const SsdpDevice& device);
