// The whole server, restarted and stopped within the test's process. That it serves is tested from outside.
#include "startup.h"

#include <gmock/gmock.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>

#include "core/ini.h"
#include "core/process.h"
#include "core/settings.h"
#include "core/socket.h"
#include "net/client.h"
#include "routes.h"
#include "scan/scanner.h"
#include "support/scratch.h"

using testing::HasSubstr;

namespace {

// Loopback alone, for the fixed ports; the threads that are started from here on are in it too.
bool enter_own_network() {
    if (unshare(CLONE_NEWNET) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) return false;
    ifreq loopback{.ifr_ifrn = {"lo"}, .ifr_ifru = {.ifru_flags = IFF_UP | IFF_RUNNING | IFF_MULTICAST}};
    return ioctl(Socket{socket(AF_INET, SOCK_DGRAM, 0)}.fd(), SIOCSIFFLAGS, &loopback) == 0;
}

std::string description_at(const std::string& host_port) {
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
    EXPECT_THAT(description_at("127.0.0.1:9000"), HasSubstr("MediaServer:1"));
    while (scan_status().seconds_to_next == 0) sleep_ms(10);  // until the first scan is over, or this test's time is
    EXPECT_EQ(scan_status().seconds_to_next, 420);

    scratch.write("server.ini", "friendlyname=Attic\nhttpport=9500\n");
    restart_all();
    EXPECT_EQ(server_host_port(), "127.0.0.1:9500");
    EXPECT_THAT(description_at("127.0.0.1:9500"), HasSubstr("<friendlyName>Attic</friendlyName>"));
    EXPECT_EQ(description_at("127.0.0.1:9000"), "no answer");

    for (int i = 0; i < 10; ++i) {  // from the second time on while its threads have hardly begun
        stop_all();
        const RunningFlags& flags = running_flags();
        for (const RunningFlag* flag :
             {&flags.upnp_server, &flags.file_scan, &flags.db_read_file, &flags.db_write_file, &flags.radio,
              &flags.itunes, &flags.external_db_scan, &flags.eventing, &flags.ipod})
            EXPECT_TRUE(flag->idle());
        EXPECT_EQ(description_at("127.0.0.1:9500"), "no answer");
        start_all();
    }
    stop_all();
    settings_free_all();
}

}  // namespace
