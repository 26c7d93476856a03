// The whole server, started and stopped within the test's process and in a network of its own.
#include "startup.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "core/ini.h"
#include "core/process.h"
#include "core/settings.h"
#include "http/server.h"
#include "net/client.h"
#include "routes.h"
#include "scan/scanner.h"
#include "support/own_network.h"
#include "support/scratch.h"
#include "upnp/packet_handlers.h"

namespace {

using testing::HasSubstr;

class Startup : public testing::Test {
protected:
    void SetUp() override {
        if (!enter_own_network()) GTEST_SKIP() << "no network namespace can be had here";
        ASSERT_EQ(chdir(scratch.path().c_str()), 0);  // the redirect page goes there
        settings_set_defaults();
        settings_set(Setting::contentdir, scratch.path());
        settings_set(Setting::ip, "127.0.0.1");
        setenv("PELORAMA_RADIO_HOST", "127.0.0.1:1", 1);  // nobody listens there
        ini_set_path(scratch / "server.ini");
        register_http_handlers();
        register_packet_handlers();
    }
    void TearDown() override {
        http_forget_handlers();
        forget_callback_handlers();
        settings_free_all();
        ASSERT_EQ(chdir("/"), 0);
    }

    static std::string description(const std::string& host_port) {
        const auto answer = http_talk(TalkMode::get, "http://" + host_port + "/DeviceDescription.xml");
        return answer ? std::string{answer->text()} : "no answer";
    }

    static void expect_all_idle() {
        const RunningFlags& flags = running_flags();
        for (const RunningFlag* flag :
             {&flags.upnp_server, &flags.file_scan, &flags.db_read_file, &flags.db_write_file, &flags.radio,
              &flags.itunes, &flags.winamp, &flags.external_db_scan, &flags.eventing, &flags.ipod})
            EXPECT_TRUE(flag->idle());
    }

    ScratchDirectory scratch;
};

TEST_F(Startup, ServesAgainAfterARestartWithTheIniFileAsItIsNow) {
    start_all();
    EXPECT_TRUE(running_flags().upnp_server.running());
    EXPECT_EQ(server_host_port(), "127.0.0.1:9000");
    EXPECT_THAT(description("127.0.0.1:9000"), HasSubstr("MediaServer:1"));

    scratch.write("server.ini", "friendlyname=Attic\nhttpport=9500\n");
    restart_all();
    EXPECT_EQ(server_host_port(), "127.0.0.1:9500");
    EXPECT_THAT(description("127.0.0.1:9500"), HasSubstr("<friendlyName>Attic</friendlyName>"));
    EXPECT_EQ(description("127.0.0.1:9000"), "no answer");

    stop_all();
    expect_all_idle();
    EXPECT_EQ(description("127.0.0.1:9500"), "no answer");
}

TEST_F(Startup, StopsWhileItsThreadsHaveHardlyBegun) {
    for (int i = 0; i < 10; ++i) {
        start_all();
        stop_all();
        expect_all_idle();
    }
}

}  // namespace
