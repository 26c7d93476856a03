#include "http/upgrade_files.h"

#include <gtest/gtest.h>

#include <string>

#include "core/settings.h"
#include "support/handler_call.h"
#include "support/scratch.h"

namespace {

class UpgradeFiles : public testing::Test {
protected:
    UpgradeFiles() {
        settings_set_defaults();
        directory_.write("folder/firmware.img", "new firmware");
        directory_.write("folder/empty.img", "");
    }
    ~UpgradeFiles() override { settings_free_all(); }

    ScratchDirectory directory_;
};

TEST_F(UpgradeFiles, AreServedFromTheirFolder) {
    for (const char* slash : {"", "/"}) {
        settings_set(Setting::netgearupgrade, directory_ / "folder" + slash);
        for (const char* url :
             {"/NetgearUpgrade/firmware.img", "/NetgearUpgrade/x/../firmware.img", "/file%3AC/Programs/firmware.img"}) {
            const HandlerAnswer answer = call_handler(upgrade_file_handler, url);
            EXPECT_EQ(answer.status_line, "HTTP/1.1 200 OK") << url;
            EXPECT_EQ(answer.header("Content-Type"), "application/octet-stream");
            EXPECT_EQ(answer.header("Content-Length"), "12");
            EXPECT_EQ(answer.body, "new firmware");
            EXPECT_EQ(answer.result, HandlerResult::keep);
        }
    }
    EXPECT_EQ(call_handler(upgrade_file_handler, "/NetgearUpgrade/empty.img").header("Content-Length"), "0");
    settings_set(Setting::netgearupgrade, "");
    EXPECT_EQ(call_handler(upgrade_file_handler, "/NetgearUpgrade/firmware.img").status_line, "HTTP/1.1 404 Not Found");
}

}  // namespace
