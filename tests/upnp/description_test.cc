#include "upnp/description.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "core/settings.h"

TEST(FriendlyName, IsAsConfiguredOrTheHosts) {
    char host[256] = {};
    ASSERT_EQ(gethostname(host, sizeof host - 1), 0);
    const std::string fits(1021, 'x'), of_host = std::string{host} + ": Pelorama";
    settings_set_defaults();
    for (const auto& [name, shown] : std::initializer_list<std::pair<std::string, std::string>>{
             {"Tom & <Jerry>", "Tom &amp;amp; &amp;lt;Jerry&amp;gt;"},
             {"100%% of %s%n%d %", "100% of %s%n%d %"},
             {"K\xFC\x63he", "K\xC3\xBC\x63he"},
             {fits, fits},
             {"", of_host},
             {fits + "x", of_host},
             {std::string(5000, '&'), of_host},
         }) {
        settings_set(Setting::friendlyname, name);
        EXPECT_EQ(description_friendly_name(), shown) << name;
    }
    settings_free_all();
}
