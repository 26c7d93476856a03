#include "core/settings.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace {

TEST(Settings, ReadersKeepTheirListWhileItIsReplaced) {
    settings_set(Setting::contentdir, "/a,/b");
    const auto before = settings_list(Setting::contentdir);
    std::thread writer{[] {
        for (int i = 0; i < 1000; ++i) settings_set(Setting::contentdir, i % 2 == 0 ? "/c" : "/d,/e,/f");
    }};
    for (int i = 0; i < 1000; ++i) {
        const std::size_t size = settings_list(Setting::contentdir)->size();
        EXPECT_TRUE(size >= 1 && size <= 3);
    }
    writer.join();
    EXPECT_EQ(*before, (SettingList{"/a", "/b"}));
    settings_free_all();
}

}  // namespace
