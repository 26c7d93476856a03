#include "upnp/ssdp_message.h"

#include <gmock/gmock.h>

TEST(SsdpMessage, TextsAreExact) {
    const SsdpDevice server{.id = "uuid:896659847466-00-1a-2b-3c-4d-5e-789",
                            .address = "10.0.0.7",
                            .http_port = 9000,
                            .roles = ROLE_MEDIA_SERVER};
    const auto messages = [&](SsdpMessage kind) {
        return ssdp_messages(server, "urn:schemas-upnp-org:device:MediaServer:1", kind,
                             "Sat, 21 Nov 2026 09:15:26 GMT");
    };
    EXPECT_THAT(
        messages(SsdpMessage::alive),
        testing::ElementsAre("NOTIFY * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nCACHE-CONTROL: max-age=1810\r\n"
                             "LOCATION: http://10.0.0.7:9000/DeviceDescription.xml\r\n"
                             "NT: urn:schemas-upnp-org:device:MediaServer:1\r\nNTS: ssdp:alive\r\n"
                             "SERVER: Linux/2.x.x, UPnP/1.0, Pelorama UPnP SDK/1.0\r\n"
                             "USN: uuid:896659847466-00-1a-2b-3c-4d-5e-789::urn:schemas-upnp-org:device:MediaServer:1"
                             "\r\n\r\n"));
    EXPECT_THAT(
        messages(SsdpMessage::search_reply),
        testing::ElementsAre("HTTP/1.1 200 OK\r\nCACHE-CONTROL: max-age=1810\r\n"
                             "DATE: Sat, 21 Nov 2026 09:15:26 GMT\r\nEXT:\r\n"
                             "LOCATION: http://10.0.0.7:9000/DeviceDescription.xml\r\n"
                             "SERVER: Linux/2.x.x, UPnP/1.0, Pelorama UPnP SDK/1.0\r\n"
                             "ST: urn:schemas-upnp-org:device:MediaServer:1\r\n"
                             "USN: uuid:896659847466-00-1a-2b-3c-4d-5e-789::urn:schemas-upnp-org:device:MediaServer:1"
                             "\r\nContent-Length: 0\r\n\r\n"));
    EXPECT_EQ(ssdp_byebye_messages(server).front(),
              "NOTIFY * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nNT: uuid:896659847466-00-1a-2b-3c-4d-5e-789\r\n"
              "NTS: ssdp:byebye\r\nUSN: uuid:896659847466-00-1a-2b-3c-4d-5e-789\r\n\r\n");
}
