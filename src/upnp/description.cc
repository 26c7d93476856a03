#include "upnp/description.h"

#include <unistd.h>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "core/settings.h"
#include "core/settings_table.h"
#include "core/str.h"
#include "core/xml_escape.h"
#include "http/request.h"
#include "upnp/device_id.h"
#include "upnp/soap.h"

namespace {

constexpr std::size_t kNetgearCapacity = 1024;

constexpr char kDescription[] =
    "<?xml version=\"1.0\"?><root xmlns=\"urn:schemas-upnp-org:device-1-0\">"
    "<specVersion><major>1</major><minor>0</minor></specVersion>"
    "<device>"
    "<dlna:X_DLNADOC xmlns:dlna=\"urn:schemas-dlna-org:device-1-0\">DMS-1.00</dlna:X_DLNADOC>"
    "<deviceType>urn:schemas-upnp-org:device:MediaServer:1</deviceType>"
    "<UDN>%s</UDN>"
    "<friendlyName>%s</friendlyName>"
    "<manufacturer>Pelorama GmbH</manufacturer>"
    "<manufacturerURL>http://pelorama.invalid/</manufacturerURL>"
    "<modelURL>http://pelorama.invalid/mediaserver/</modelURL>"
    "<modelName>Pelorama Media Server</modelName>"
    "<modelDescription>Pelorama Media Server</modelDescription>"
    "<modelNumber>103</modelNumber>"
    "<serialNumber></serialNumber>"
    "<UPC></UPC>"
    "%s"
    "<presentationURL>%sconfigpage/index.htm</presentationURL>"
    "<serviceList>"
    "<service>"
    "<serviceType>urn:schemas-upnp-org:service:ContentDirectory:1</serviceType>"
    "<serviceId>urn:upnp-org:serviceId:ContentDirectory</serviceId>"
    "<SCPDURL>ContentDirectory.xml</SCPDURL>"
    "<eventSubURL>ContentDirectory/Event</eventSubURL>"
    "<controlURL>ContentDirectory/Control</controlURL>"
    "</service>"
    "<service>"
    "<serviceType>urn:schemas-upnp-org:service:ConnectionManager:1</serviceType>"
    "<serviceId>urn:upnp-org:serviceId:ConnectionManager</serviceId>"
    "<SCPDURL>ConnectionManager.xml</SCPDURL>"
    "<eventSubURL>ConnectionManager/Event</eventSubURL>"
    "<controlURL>ConnectionManager/Control</controlURL>"
    "</service>"
    "</serviceList>"
    "</device>"
    "</root>";

// Names are configured as printf formats without arguments: "%%" means one "%", any other "%" itself.
std::string without_doubled_percents(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        out.push_back(text[i]);
        if (text.substr(i).starts_with("%%")) ++i;
    }
    return out;
}

std::string default_name() {
    char host[256] = {};
    // The system may cut a long name off without a NUL: the buffer's last byte stays 0.
    if (gethostname(host, sizeof host - 1) != 0) host[0] = '\0';
    const Text escaped = xml_escape_for(host, ClientText::utf8);
    return escaped ? *escaped + ": Pelorama" : "Pelorama";
}

// Where the clients of one maker look for their firmware; empty if none is offered.
std::string netgear_block(const std::string& base_url) {
    if (!has_text(settings_get(Setting::netgearupgrade))) return {};
    return text_format(kNetgearCapacity,
                       "<D5UpgradeURI>NetgearUpgrade</D5UpgradeURI><D5UpgradeURI2>%sNetgearUpgrade</D5UpgradeURI2>",
                       base_url.c_str());
}

}  // namespace

HandlerResult handle_device_description(const HttpRequest& request, HttpResponse& response) {
    return soap_send_document(request, response, device_description(request.base_url));
}

std::string device_description(const std::string& base_url) {
    const std::string id = ssdp_device_id();
    const std::string name = description_friendly_name();
    const std::string netgear = netgear_block(base_url);
    const std::size_t capacity = sizeof kDescription + id.size() + name.size() + netgear.size() + base_url.size();
    return text_format(capacity, kDescription, id.c_str(), name.c_str(), netgear.c_str(), base_url.c_str());
}

std::string description_friendly_name() {
    const Text configured = settings_get(Setting::friendlyname);
    const Text escaped = configured ? xml_escape_for(*configured, ClientText::utf8) : std::nullopt;
    return escaped ? without_doubled_percents(*escaped) : default_name();
}
