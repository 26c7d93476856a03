// The whole server, started, restarted and stopped within the test's process and in a network of its own. That it
// serves is tested from outside; here it is that every start finds things as the first did.
#include "startup.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "core/ini.h"
#include "core/process.h"
#include "core/settings.h"
#include "net/client.h"
#include "routes.h"
#include "scan/scanner.h"
#include "support/own_network.h"
#include "support/scratch.h"

namespace {

std::string description(const std::string& host_port) {
    const auto answer = http_talk(TalkMode::get, "http://" + host_port + "/DeviceDescription.xml");
    return answer ? std::string{answer->text()} : "no answer";
}

TEST(Startup, ServesAgainAfterARestartWithTheIniFileAsItIsNow) {
    if (!enter_own_network()) GTEST_SKIP() << "no network namespace can be had here";
    const ScratchDirectory scratch;
    ASSERT_EQ(chdir(scratch.path().c_str()), 0);  // the redirect page goes there
    settings_set_defaults();
    settings_set(Setting::contentdir, scratch.path());
    settings_set(Setting::ip, "127.0.0.1");
    settings_set(Setting::scantime, "7");
    setenv("PELORAMA_RADIO_HOST", "127.0.0.1:1", 1);  // nobody listens there
    ini_set_path(scratch / "server.ini");
    register_http_handlers();

    start_all();
    EXPECT_NE(description("127.0.0.1:9000").find("MediaServer:1"), std::string::npos);
    while (scan_status().seconds_to_next == 0) sleep_ms(10);  // ends with the first scan, or at the test's time limit
    EXPECT_EQ(scan_status().seconds_to_next, 420);

    scratch.write("server.ini", "friendlyname=Attic\nhttpport=9500\n");
    restart_all();
    EXPECT_EQ(server_host_port(), "127.0.0.1:9500");
    EXPECT_NE(description("127.0.0.1:9500").find("<friendlyName>Attic</friendlyName>"), std::string::npos);
    EXPECT_EQ(description("127.0.0.1:9000"), "no answer");

    // Stopped while its threads have hardly begun.
    for (int i = 0; i < 10; ++i) {
        stop_all();
        const RunningFlags& flags = running_flags();
        for (const RunningFlag* flag :
             {&flags.upnp_server, &flags.file_scan, &flags.db_read_file, &flags.db_write_file, &flags.radio,
              &flags.itunes, &flags.external_db_scan, &flags.eventing, &flags.ipod})
            EXPECT_TRUE(flag->idle());
        EXPECT_EQ(description("127.0.0.1:9500"), "no answer");
        start_all();
    }
    stop_all();
    settings_free_all();
    ASSERT_EQ(chdir("/"), 0);
}

}  // namespace
