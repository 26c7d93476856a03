#include "handlers/upgrade_files.h"

#include <gtest/gtest.h>

#include "core/settings.h"
#include "support/handler_call.h"
#include "support/scratch.h"

namespace {

TEST(UpgradeFiles, AreServedFromTheirFolder) {
    const ScratchDirectory directory;
    directory.write("folder/firmware.img", "new firmware");
    for (const char* slash : {"", "/"}) {
        settings_set(Setting::netgearupgrade, directory / "folder" + slash);
        for (const char* url :
             {"/NetgearUpgrade/firmware.img", "/NetgearUpgrade/x/../firmware.img", "/file%3AC/Programs/firmware.img"}) {
            const HandlerAnswer answer = call_handler(handle_upgrade_file, url);
            EXPECT_EQ(answer.header("Content-Type"), "application/octet-stream");
            EXPECT_EQ(answer.body, "new firmware") << url;
        }
    }
    settings_set(Setting::netgearupgrade, "");
    EXPECT_EQ(call_handler(handle_upgrade_file, "/NetgearUpgrade/firmware.img").status_line, "HTTP/1.1 404 Not Found");
    settings_free_all();
}

}  // namespace
