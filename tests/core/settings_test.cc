#include "core/settings.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace {

class Settings : public testing::Test {
protected:
    Settings() { settings_set_defaults(); }
    ~Settings() override { settings_free_all(); }
};

TEST_F(Settings, ListsAreSplitAtEveryComma) {
    using Row = std::pair<const char*, SettingList>;
    for (const auto& [text, items] : {Row{" /a , /b ", {" /a ", " /b "}}, {"a,,b,", {"a", "", "b", ""}}, {"", {}}}) {
        settings_set(Setting::contentdir, text);
        EXPECT_EQ(*settings_list(Setting::contentdir), items) << text;
    }
}

TEST_F(Settings, ReadersKeepTheirListWhileItIsReplaced) {
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
}

}  // namespace
