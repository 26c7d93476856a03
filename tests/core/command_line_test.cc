#include "core/command_line.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/settings.h"

namespace {

using Words = std::vector<std::string_view>;

TEST(CommandLineArguments, SetTheirSetting) {
    struct {
        Words words;
        Setting setting;
        Text expected;
    } const rows[] = {
        {{"-friendlyname", "-D"}, Setting::friendlyname, "-D"},
        {{"-EnableWeb", "2"}, Setting::enableweb, "1"},
        {{"-D", "-enableweb", "2"}, Setting::enableweb, "2"},
        {{"-v", "8", "-enableweb"}, Setting::enableweb, std::nullopt},
        {{"-INIFILE", "-v", "-v", "8"}, Setting::log_categories, "8"},
        {{"", "-", "--", "word", "-v", "8"}, Setting::log_categories, "8"},
        {{"-contentdir", "/srv/help?"}, Setting::contentdir, "/srv/help?"},
    };
    for (const auto& row : rows) {
        settings_set_defaults();
        EXPECT_EQ(command_line_apply(row.words), CommandLine::understood);
        EXPECT_EQ(settings_get(row.setting), row.expected) << testing::PrintToString(row.words);
        settings_free_all();
    }
}

}  // namespace
