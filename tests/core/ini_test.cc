#include "core/ini.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "core/command_line.h"
#include "core/settings.h"
#include "support/rows.h"
#include "support/scratch.h"

namespace {

TEST(CommandLineArguments, SetTheirSetting) {
    for (const auto& [words, setting, expected] : Rows<std::vector<std::string_view>, Setting, Text>{
             {{"-friendlyname", "-D"}, Setting::friendlyname, "-D"},
             {{"-EnableWeb", "2"}, Setting::enableweb, "1"},
             {{"-D", "-enableweb", "2"}, Setting::enableweb, "2"},
             {{"-v", "8", "-enableweb"}, Setting::enableweb, std::nullopt},
             {{"-INIFILE", "-v", "-v", "8"}, Setting::log_categories, "8"},
             {{"", "-", "--", "word", "-v", "8"}, Setting::log_categories, "8"},
             {{"-contentdir", "/srv/help?"}, Setting::contentdir, "/srv/help?"},
         }) {
        settings_set_defaults();
        EXPECT_EQ(command_line_apply(words), CommandLine::understood);
        EXPECT_EQ(settings_get(setting), expected) << testing::PrintToString(words);
        settings_free_all();
    }
}

class IniFile : public testing::Test {
protected:
    IniFile() { ini_set_path(path); }
    ~IniFile() override {
        ini_set_path("./pelorama-mediaserver.ini");
        settings_free_all();
    }
    void read(std::string_view content) {
        scratch.write("server.ini", content);
        settings_set_defaults();
        ini_read();
    }
    ScratchDirectory scratch;
    std::string path = scratch / "server.ini";
};

TEST_F(IniFile, LinesSetTheirSetting) {
    for (const auto& [content, setting, expected] : Rows<const char*, Setting, Text>{
             {"friendlyname=Attic\r\nip=10.0.0.1\r\n", Setting::ip, "10.0.0.1"},
             {"enableweb  = 2\n", Setting::enableweb, "1"},
             {" enableweb=2\n", Setting::enableweb, "1"},
             {"friendlyname=Attic = Cellar\n", Setting::friendlyname, "Cellar"},
             {"enableweb=2=\n", Setting::enableweb, std::nullopt},
             {"friendlyname=Attic # upstairs\n", Setting::friendlyname, "Attic "},
             {"friendlyname=Attic#=Cellar\n", Setting::friendlyname, "Attic"},
             {"friendlyname=At\ttic\n", Setting::friendlyname, "At"},
         }) {
        read(content);
        EXPECT_EQ(settings_get(setting), expected) << content;
        settings_free_all();
    }
}

TEST_F(IniFile, AValueNeverBecomesALineOfItsOwn) {
    settings_set_defaults();
    settings_set(Setting::friendlyname, "Attic\nip=10.9.9.9");
    settings_set(Setting::dbfile, "a\rip=10.9.9.9");
    ini_write();
    read(read_whole_file(path));
    EXPECT_EQ(settings_get(Setting::friendlyname), "Attic");
    EXPECT_EQ(settings_get(Setting::dbfile), "a");
    EXPECT_EQ(settings_get(Setting::ip), std::nullopt);
}

TEST_F(IniFile, ThatCannotBeReadOrWrittenChangesNothing) {
    settings_set_defaults();
    settings_set(Setting::friendlyname, "Attic");
    ASSERT_EQ(mkfifo((scratch / "fifo").c_str(), 0600), 0);  // must not wait for a writer
    for (const std::string& unreadable : {scratch / "nowhere.ini", scratch.path(), scratch / "fifo"}) {
        ini_set_path(unreadable);
        ini_read();
        EXPECT_EQ(settings_get(Setting::friendlyname), "Attic");
    }
    for (const std::string& unwritable : {scratch / "no/such/folder.ini", std::string{"/dev/full"}}) {
        ini_set_path(unwritable);
        testing::internal::CaptureStderr();
        ini_write();
        EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("\"" + unwritable + "\" not "));
    }
}

TEST_F(IniFile, ALineThatIsTooLongLosesItsEndAndSaysSo) {
    const std::string name(1010, 'x');              // with its key 1023 characters: just fits
    for (const char* rest : {"", "ip=10.9.9.9"}) {  // not read as a line of its own
        testing::internal::CaptureStdout();
        read("friendlyname=" + name + rest + "\nenableweb=2\n");
        EXPECT_EQ(testing::internal::GetCapturedStdout().empty(), *rest == '\0');
        EXPECT_EQ(settings_get(Setting::friendlyname), name);
        EXPECT_EQ(settings_get(Setting::ip), std::nullopt);
        EXPECT_EQ(settings_get(Setting::enableweb), "2");
    }
}

}  // namespace
