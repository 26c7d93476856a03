#include "core/command_line.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/settings.h"

namespace {

using Words = std::vector<std::string_view>;

struct ArgumentCase {
    Words words;
    Setting setting;
    Text expected;
};

TEST(CommandLineArguments, SetTheirSetting) {
    for (const ArgumentCase& row : std::initializer_list<ArgumentCase>{
             {{"-friendlyname", "-D"}, Setting::friendlyname, "-D"},
             {{"-EnableWeb", "2"}, Setting::enableweb, "1"},
             {{"-D"}, Setting::D, "1"},
             {{"-D", "-enableweb", "2"}, Setting::enableweb, "2"},
             {{"-v", "8", "-enableweb"}, Setting::enableweb, std::nullopt},
             {{"-enableweb", ""}, Setting::enableweb, std::nullopt},
             {{"-INIFILE", "-v", "-v", "8"}, Setting::v, "8"},
             {{"", "-", "--", "word", "-v", "8"}, Setting::v, "8"},
             {{"-contentdir", "/srv/help?"}, Setting::contentdir, "/srv/help?"},
         }) {
        settings_set_defaults();
        EXPECT_EQ(command_line_apply(row.words), CommandLine::understood);
        EXPECT_EQ(settings_get(row.setting), row.expected) << testing::PrintToString(row.words);
        settings_free_all();
    }
}

TEST(CommandLineUsage, IsWantedByAnyWordThatAsks) {
    for (const Words& words : {Words{"-v", "8", "helpme"}, Words{"what?"}})
        EXPECT_EQ(command_line_apply(words), CommandLine::usage_wanted) << words.front();
    settings_free_all();
}

}  // namespace
