#include "upnp/device_id.h"

#include <gtest/gtest.h>

#include "core/settings.h"

namespace {

TEST(DeviceId, IsMadeOfTheHardwareAddressAndTheName) {
    struct {
        Text name, address;
        const char* expected;
    } const rows[] = {
        {{}, "00:1a:2b:3c:4d:5e", "uuid:896659847466-00-1a-2b-3c-4d-5e-73783736426233"},
        // 'A' is 65, 'b' 98, ':' 58, ' ' 32.
        {"Ab: ", {}, "896659847466-0000-5882"},
        // Twenty characters count, the bytes of "é" (195, 169) as two of them.
        {"\u00E900000000000000000000", "02:00:00:00:00:01", "uuid:896659847466-02-00-00-00-00-01-59888888888888888888"},
    };
    for (const auto& c : rows) EXPECT_EQ(device_id_for(c.name, c.address), c.expected);
}

TEST(DeviceId, StaysWhenTheNameChanges) {
    ssdp_forget_device_id();
    settings_set(Setting::friendlyname, "abc");
    const std::string first = ssdp_device_id();
    EXPECT_TRUE(first.ends_with("-789")) << first;
    settings_set(Setting::friendlyname, "def");
    EXPECT_EQ(ssdp_device_id(), first);
    settings_free_all();
    ssdp_forget_device_id();
}

}  // namespace
