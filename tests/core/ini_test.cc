#include "core/ini.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "core/settings.h"
#include "support/scratch.h"

namespace {

using testing::HasSubstr;
using testing::Not;

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
    std::string written() {
        ini_write();
        return read_whole_file(path);
    }

    ScratchDirectory scratch;
    std::string path = scratch / "server.ini";
};

struct LineCase {
    const char* content;
    Setting setting;
    Text expected;
};

TEST_F(IniFile, LinesSetTheirSetting) {
    for (const LineCase& row : std::initializer_list<LineCase>{
             {"friendlyname=Attic", Setting::friendlyname, "Attic"},
             {"friendlyname=Attic\r\nip=10.0.0.1\r\n", Setting::friendlyname, "Attic"},
             {"friendlyname = Attic\n", Setting::friendlyname, "Attic"},
             {"enableweb  = 2\n", Setting::enableweb, "1"},
             {" enableweb=2\n", Setting::enableweb, "1"},
             {"EnableWeb=2\n", Setting::enableweb, "2"},
             {"friendlyname=Attic = Cellar\n", Setting::friendlyname, "Cellar"},
             {"enableweb=2=\n", Setting::enableweb, std::nullopt},
             {"friendlyname=Attic # upstairs\n", Setting::friendlyname, "Attic "},
             {"friendlyname=Attic#=Cellar\n", Setting::friendlyname, "Attic"},
             {"#enableweb=2\n", Setting::enableweb, "1"},
             {"enableweb=\n", Setting::enableweb, std::nullopt},
             {"allownradiostations=- Mine - \n", Setting::allownradiostations, "- Mine - "},
             {"friendlyname=At\ttic\n", Setting::friendlyname, "At"},
             {"enableweb\t=2\n", Setting::enableweb, "1"},
             {"friendlyname=Grenier \xC3\xA9t\xE9\n", Setting::friendlyname, "Grenier \xC3\xA9t\xE9"},
             {"shutdown=now\nenableweb=2\n", Setting::enableweb, "2"},
         }) {
        read(row.content);
        EXPECT_EQ(settings_get(row.setting), row.expected) << row.content;
        settings_free_all();
    }
}

TEST_F(IniFile, WrittenIsCompleteAndReadsBackTheSame) {
    settings_set_defaults();
    settings_set(Setting::contentdir, "/music,M|/more music,,P|/pictures");
    settings_set(Setting::friendlyname, "Attic");
    settings_set(Setting::v, "8");
    settings_set(Setting::D, "1");
    const std::string text = written();

    EXPECT_THAT(text, HasSubstr("\n# param -httpport [n] = set port for http server, 0 for dynamicall port allocation\n"
                                "httpport=0\n"));
    EXPECT_THAT(text, HasSubstr("\nmusicnode9=Alpha,[3]%ARTIST\nmusicnode10=\n"));
    EXPECT_THAT(text, HasSubstr("\nallownradiostations=- Favorites- \n"));
    EXPECT_THAT(text, Not(HasSubstr("\nv=")));
    EXPECT_THAT(text, Not(HasSubstr("\nD=")));

    read(text);
    EXPECT_EQ(settings_get(Setting::contentdir), "/music,M|/more music,,P|/pictures");
    EXPECT_EQ(settings_get(Setting::v), "0");
    settings_set(Setting::v, "8");
    EXPECT_EQ(written(), text);
}

TEST_F(IniFile, AValueNeverBecomesALineOfItsOwn) {
    settings_set_defaults();
    settings_set(Setting::friendlyname, "Attic\nip=10.9.9.9");
    settings_set(Setting::dbfile, "a\rip=10.9.9.9");
    read(written());
    EXPECT_EQ(settings_get(Setting::friendlyname), "Attic");
    EXPECT_EQ(settings_get(Setting::dbfile), "a");
    EXPECT_EQ(settings_get(Setting::ip), std::nullopt);
}

TEST_F(IniFile, AMissingOrUnreadableFileLeavesTheSettingsAlone) {
    settings_set_defaults();
    settings_set(Setting::friendlyname, "Attic");
    ini_set_path(scratch / "nowhere.ini");
    ini_read();
    ini_set_path(scratch.path());
    ini_read();
    const std::string fifo = scratch / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    ini_set_path(fifo);
    ini_read();  // must not wait for a writer
    EXPECT_EQ(settings_get(Setting::friendlyname), "Attic");
}

TEST_F(IniFile, AnUnwritableFileIsAnError) {
    for (const std::string& bad : {scratch / "no/such/folder.ini", scratch.path()}) {
        ini_set_path(bad);
        testing::internal::CaptureStderr();
        ini_write();
        EXPECT_THAT(testing::internal::GetCapturedStderr(),
                    HasSubstr("[ERROR]SYSTEM:\nini file \"" + bad + "\" not writable! ***\n\n"));
    }
    ini_set_path("/dev/full");
    testing::internal::CaptureStderr();
    ini_write();
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("\"/dev/full\" not completely written"));
}

TEST_F(IniFile, ALineThatIsTooLongLosesItsEndAndSaysSo) {
    const std::string name(1010, 'x');  // with its key 1023 characters: just fits
    testing::internal::CaptureStdout();
    read("friendlyname=" + name + "\nenableweb=2\n");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(settings_get(Setting::friendlyname), name);
    EXPECT_EQ(settings_get(Setting::enableweb), "2");

    testing::internal::CaptureStdout();
    // The end is not read as a line of its own.
    read("friendlyname=" + name + "ip=10.9.9.9\nenableweb=2\n");
    EXPECT_THAT(testing::internal::GetCapturedStdout(), HasSubstr("[Problem]SYSTEM:ini file"));
    EXPECT_EQ(settings_get(Setting::friendlyname), name);
    EXPECT_EQ(settings_get(Setting::ip), std::nullopt);
    EXPECT_EQ(settings_get(Setting::enableweb), "2");
}

TEST(Usage, ShowsEveryParameterWithItsExplanation) {
    const std::string text = usage_text("pelorama");
    EXPECT_TRUE(
        text.starts_with("\nusage: pelorama\n\n -enableweb [n] \n\t set to 0 to disable web configuration, 1 for local "
                         "access only and 2 for public access.\n\n -contentdir "));
    EXPECT_THAT(text, HasSubstr("\n\n -musicnode[n] \n\t string to specify music node [n]\n\n"));
    EXPECT_THAT(text, HasSubstr("\n\n -musicbuffer [n] set the buffer to send music content\n\n"));
    EXPECT_THAT(text, Not(HasSubstr("#")));
}

}  // namespace
