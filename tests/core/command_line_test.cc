#include "core/command_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/ini.h"
#include "core/settings.h"
#include "support/scratch.h"

namespace {

using testing::HasSubstr;
using Words = std::vector<std::string_view>;

struct ArgumentCase {
    Words words;
    Setting setting;
    Text expected;
};

TEST(CommandLineArguments, SetTheirSetting) {
    for (const ArgumentCase& row : std::initializer_list<ArgumentCase>{
             {{"-friendlyname", "-D"}, Setting::friendlyname, "-D"},
             {{"-friendlyname", "-D"}, Setting::D, std::nullopt},
             {{"-EnableWeb", "2"}, Setting::enableweb, "1"},
             {{"-D"}, Setting::D, "1"},
             {{"-D", "-enableweb", "2"}, Setting::enableweb, "2"},
             {{"-v", "8", "-enableweb"}, Setting::enableweb, std::nullopt},
             {{"-enableweb", ""}, Setting::enableweb, std::nullopt},
             {{"-verbose", "-v", "8"}, Setting::v, "8"},
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
    for (const Words& words : {Words{"-?"}, Words{"--help"}, Words{"-v", "8", "helpme"}, Words{"what?"}})
        EXPECT_EQ(command_line_apply(words), CommandLine::usage_wanted) << words.front();
    EXPECT_EQ(command_line_find_ini(Words{"-v", "8", "-inifile"}), CommandLine::usage_wanted);
    settings_free_all();
}

TEST(SettingsInit, LaysTheCommandLineOverTheIniFileOverTheDefaults) {
    const ScratchDirectory scratch;
    const std::string path = scratch.write("own.ini", "friendlyname=Attic\nscantime=5\nhttpport=9500\nv=8\n");
    const char* const words[] = {"pelorama", "-scantime", "7", "-IniFile", path.c_str(), "-httpport"};
    settings_init(6, words);
    EXPECT_EQ(settings_get(Setting::friendlyname), "Attic");
    EXPECT_EQ(settings_get(Setting::scantime), "7");
    EXPECT_EQ(settings_get(Setting::httpport), std::nullopt);
    EXPECT_EQ(settings_get(Setting::radio), "1");
    EXPECT_EQ(settings_get_int(Setting::v), 8);
    const std::string rewritten = read_whole_file(path);
    EXPECT_THAT(rewritten, HasSubstr("\nfriendlyname=Attic\n"));
    EXPECT_THAT(rewritten, HasSubstr("\nscantime=7\n"));
    EXPECT_THAT(rewritten, HasSubstr("\nhttpport=\n"));
    ini_set_path("./pelorama-mediaserver.ini");
    settings_free_all();
}

TEST(SettingsInitDeathTest, UsageEndsTheProcessWithStatusZeroAndWritesNothing) {
    const ScratchDirectory scratch;
    const std::string path = scratch / "own.ini";
    const char* const asking[] = {"pelorama", "-inifile", path.c_str(), "-help"};
    EXPECT_EXIT(settings_init(4, asking), testing::ExitedWithCode(0), "");
    EXPECT_FALSE(std::filesystem::exists(path));
}

}  // namespace
