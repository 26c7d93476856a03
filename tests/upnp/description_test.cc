#include "upnp/description.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "core/settings.h"
#include "core/xml.h"

namespace {

class Description : public testing::Test {
protected:
    Description() { settings_set_defaults(); }
    ~Description() override { settings_free_all(); }
};

std::string named(std::string_view friendly_name) {
    settings_set(Setting::friendlyname, friendly_name);
    return description_friendly_name();
}

}  // namespace

TEST_F(Description, NamesTheServerAsConfiguredOrAfterItsHost) {
    EXPECT_EQ(named("Tom & <Jerry>"), "Tom &amp;amp; &amp;lt;Jerry&amp;gt;");
    EXPECT_EQ(named("100%% of %s%n%d %"), "100% of %s%n%d %");
    EXPECT_EQ(named("K\xFC\x63he"), "K\xC3\xBC\x63he");
    EXPECT_EQ(named(std::string(1021, 'x')).size(), 1021u);

    // Without a name, or with one that is too long, after its host.
    char host[256] = {};
    ASSERT_EQ(gethostname(host, sizeof host - 1), 0);
    const std::string expected = std::string{host} + ": Pelorama";
    for (const std::string& none : {std::string{}, std::string(1022, 'x'), std::string(5000, '&')})
        EXPECT_EQ(named(none), expected);
}

TEST_F(Description, TellsAReceiverAllItNeeds) {
    settings_set(Setting::friendlyname, "A & B");
    const std::string document = device_description("http://127.0.0.1:9000/");
    const auto root = xml_parse(document);
    std::string elements;
    for (const XmlNode* element = xml_find(root.get(), "device")->first_child.get(); element != nullptr;
         element = element->next.get())
        if (element->name != "UDN") elements += element->name + "=" + element->text.value_or("...") + "\n";
    EXPECT_EQ(elements,
              "dlna:X_DLNADOC=DMS-1.00\n"
              "deviceType=urn:schemas-upnp-org:device:MediaServer:1\n"
              "friendlyName=A &amp; B\n"
              "manufacturer=Pelorama GmbH\n"
              "manufacturerURL=http://pelorama.invalid/\n"
              "modelURL=http://pelorama.invalid/mediaserver/\n"
              "modelName=Pelorama Media Server\n"
              "modelDescription=Pelorama Media Server\n"
              "modelNumber=103\n"
              "serialNumber=\n"
              "UPC=\n"
              "presentationURL=http://127.0.0.1:9000/configpage/index.htm\n"
              "serviceList=...\n");
    EXPECT_TRUE(document.ends_with("</serviceList></device></root>"));
}

TEST_F(Description, OffersFirmwareOnlyWhenThereIsSome) {
    EXPECT_EQ(device_description("http://127.0.0.1:9000/").find("D5Upgrade"), std::string::npos);
    settings_set(Setting::netgearupgrade, "/srv/firmware");
    EXPECT_NE(device_description("http://127.0.0.1:9000/")
                  .find("<UPC></UPC><D5UpgradeURI>NetgearUpgrade</D5UpgradeURI>"
                        "<D5UpgradeURI2>http://127.0.0.1:9000/NetgearUpgrade</D5UpgradeURI2><presentationURL>"),
              std::string::npos);
}
