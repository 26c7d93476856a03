// What the server says of itself on the group and how it answers searches: ids and names, announcements, requests,
// jobs.
#include <gmock/gmock.h>
#include <unistd.h>

#include "core/settings.h"
#include "core/socket.h"
#include "support/rows.h"
#include "upnp/description.h"
#include "upnp/device_id.h"
#include "upnp/heartbeat.h"
#include "upnp/msearch.h"
#include "upnp/search_jobs.h"
#include "upnp/ssdp_message.h"

using namespace std::chrono_literals;

namespace {

TEST(DeviceId, IsMadeOfTheHardwareAddressAndTheName) {
    for (const auto& [name, address, expected] : Rows<Text, Text, const char*>{
             {{}, "00:1a:2b:3c:4d:5e", "uuid:896659847466-00-1a-2b-3c-4d-5e-73783736426233"},
             // 'A' is 65, 'b' 98, ':' 58, ' ' 32.
             {"Ab: ", {}, "896659847466-0000-5882"},
             // Twenty characters count, the bytes of "é" (195, 169) as two of them.
             {"\u00E900000000000000000000", "02:00:00:00:00:01",
              "uuid:896659847466-02-00-00-00-00-01-59888888888888888888"},
         })
        EXPECT_EQ(device_id_for(name, address), expected);
}

TEST(DeviceId, StaysWhenTheNameChanges) {
    ssdp_forget_device_id();
    settings_set(Setting::friendlyname, "abc");
    const std::string first = ssdp_device_id();
    EXPECT_TRUE(first.ends_with("-789")) << first;
    settings_set(Setting::friendlyname, "def");
    EXPECT_EQ(ssdp_device_id(), first);
    settings_free_all();
    ssdp_forget_device_id();
}

TEST(FriendlyName, IsAsConfiguredOrTheHosts) {
    char host[256] = {};
    ASSERT_EQ(gethostname(host, sizeof host - 1), 0);
    const std::string fits(1021, 'x'), of_host = std::string{host} + ": Pelorama";
    settings_set_defaults();
    for (const auto& [name, shown] : Rows<std::string, std::string>{
             {"Tom & <Jerry>", "Tom &amp;amp; &amp;lt;Jerry&amp;gt;"},
             {"100%% of %s%n%d %", "100% of %s%n%d %"},
             {"K\xFC\x63he", "K\xC3\xBC\x63he"},
             {fits, fits},
             {"", of_host},
             {fits + "x", of_host},
             {std::string(5000, '&'), of_host},
         }) {
        settings_set(Setting::friendlyname, name);
        EXPECT_EQ(description_friendly_name(), shown) << name;
    }
    settings_free_all();
}

using enum AnnouncementMode;
using testing::ElementsAre;

// The ticks (counted from 0) at which something is sent in the given number of ticks.
std::vector<int> active_ticks(Heartbeat& heartbeat, AnnouncementMode mode, int ticks) {
    std::vector<int> active;
    for (int tick = 0; tick < ticks; ++tick)
        if (heartbeat.tick(mode) != HeartbeatAction::nothing) active.push_back(tick);
    return active;
}

TEST(Heartbeat, AnnouncesSoonAndThenSeldomAndWithdrawsOnceInStealthMode) {
    Heartbeat heartbeat{announcing};
    EXPECT_THAT(active_ticks(heartbeat, announcing, 650), ElementsAre(0, 100, 200, 300, 400, 500));
    EXPECT_EQ(heartbeat.tick(silent), HeartbeatAction::withdraw);
    EXPECT_THAT(active_ticks(heartbeat, silent, 1000), ElementsAre());
    EXPECT_EQ(heartbeat.tick(announcing), HeartbeatAction::announce);
    // Coming back does not shift the regular time: 12566 ticks after the start, 1652 of which have gone by.
    EXPECT_THAT(active_ticks(heartbeat, announcing, 26'000), ElementsAre(12566 - 1652, 24632 - 1652));

    Heartbeat stealthy{silent};
    EXPECT_THAT(active_ticks(stealthy, silent, 30'000), ElementsAre());
    EXPECT_EQ(stealthy.tick(announcing), HeartbeatAction::announce);
}

// A well-formed search, with the lines given in place of MX and ST.
std::string search(const std::string& lines) {
    return "M-SEARCH * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nMAN: \"ssdp:discover\"\r\n" + lines + "\r\n";
}

TEST(Msearch, OnlyASearchIsOne) {
    const std::pair<std::string, bool> rows[] = {
        {"m-search * HTTP/1.1\nman: anything\nst:a\nmx:1\nhost:\n", true},
        {"GET * HTTP/1.1\r\nX: m-SEARCH\r\nHOSTESS: x\r\nSTART: a\r\nMANY: b\r\n\r\n", true},
        {"M-SEARCH * HTTP/1.1\r\nHOST: x\r\nST: ssdp:all\r\nMAN: y\r\n\r\n", true},  // without MX
        {"M-SEARCH / HTTP/1.1\r\nHOST: x\r\nMX: 3\r\nST: ssdp:all\r\nMAN: y\r\n\r\n", false},
        {"M-SEARCH * HTTP/1.1\rHOST: x\rMX: 3\rST: ssdp:all\rMAN: y\r\r", false},
        {search("X: " + std::string(1000, 'x') + "\r\nST: a\r\n"), false},  // beyond what is read
    };
    for (const auto& [packet, accepted] : rows) EXPECT_EQ(msearch_parse(packet).has_value(), accepted) << packet;
}

TEST(Msearch, TargetAndWaitAreRead) {
    for (const auto& [lines, target, max_wait] : Rows<std::string, std::string, unsigned>{
             {"mx:   7\r\nst:   upnp:rootdevice trailing\r\n", "upnp:rootdevice", 7},
             {"MX: 121\r\nST:a\r\n", "a", 120},
             {"MX: 99999999999999999999\r\nST:a\r\n", "a", 120},
             {"MX: \xff\x80\r\nST:a\xc3\xa9\r\n", "a\xc3\xa9", 1},
             {"MX : 9\r\nST : a\r\n", "", 5},  // neither "MX:" nor "ST:" begins a line
             {"MX: 2\r\nST:\ta\r\n", "", 2},
             {"ST: a", "a", 5},
             {"ST: " + std::string(129, 'x') + "\r\n", std::string(128, 'x'), 5},
             {std::string{"MX: 4\r\nST: a\0b\r\n", 17}, "a", 4},
         }) {
        const auto request = msearch_parse(search(lines));
        ASSERT_TRUE(request) << lines;
        EXPECT_EQ(request->target, target) << lines;
        EXPECT_EQ(request->max_wait, max_wait) << lines;
    }
}

TEST(Msearch, ClientsAreRecognisedByTheirMark) {
    using enum ClientKind;
    const auto senders = [](const std::string& line) { return msearch_parse(search("ST:a\r\n" + line))->senders; };
    EXPECT_THAT(senders("USER-AGENT: Netgear MP101\r\n"), ElementsAre(netgear_mp101));
    EXPECT_THAT(senders("MYNAME: \"D2730\"\r\n"), ElementsAre(go_video_d2730));
    EXPECT_THAT(senders("X: netgear mp101, myname: \"D2730\"\r\n"), ElementsAre());
}

constexpr SearchJobs::Time kNow{1000s};

SearchJob job(const std::string& address, const std::string& target = "ssdp:all", std::uint16_t port = 50000) {
    return {target, ipv4_endpoint(ipv4_parse(address), port)};
}

TEST(SearchJobs, ComeOutWhenDueAndInOrder) {
    SearchJobs jobs;
    jobs.add(kNow + 2s, job("10.0.0.1", "late"));
    jobs.add(kNow, job("10.0.0.2", "first"));
    jobs.add(kNow, job("10.0.0.1", "second"));
    EXPECT_FALSE(jobs.take_due(kNow - 1ms));
    EXPECT_EQ(jobs.next_due(), kNow);
    EXPECT_EQ(jobs.take_due(kNow + 1s)->target, "first");
    EXPECT_EQ(jobs.take_due(kNow + 1s)->target, "second");
    EXPECT_FALSE(jobs.take_due(kNow + 1s));
    EXPECT_EQ(jobs.take_due(kNow + 2s)->target, "late");
}

TEST(SearchJobs, RefuseWhoMustNotBeAnsweredAndMoreThanSixteenOfOne) {
    SearchJobs jobs;
    for (const char* address : {"0.0.0.0", "0.1.2.3", "224.0.0.1", "255.255.255.255"})
        EXPECT_FALSE(jobs.add(kNow, job(address))) << address;
    EXPECT_FALSE(jobs.add(kNow, job("10.0.0.1", "ssdp:all", 0)));
    EXPECT_TRUE(jobs.add(kNow, job("223.255.255.254")));
    for (int i = 0; i < 16; ++i) EXPECT_TRUE(jobs.add(kNow + 120s, job("10.0.0.1")));
    EXPECT_FALSE(jobs.add(kNow, job("10.0.0.1", "ssdp:all", 50001)));
    EXPECT_EQ(jobs.size(), 17u);
    ASSERT_TRUE(jobs.take_due(kNow));
    ASSERT_TRUE(jobs.take_due(kNow + 120s));
    EXPECT_TRUE(jobs.add(kNow, job("10.0.0.1")));
}

TEST(SearchJobs, AFloodOfPatientSearchesDoesNotKeepOutAnImpatientOne) {
    SearchJobs jobs;
    for (int i = 0; i < 20'000; ++i) {
        const std::string source = "10.1." + std::to_string(i / 250) + "." + std::to_string(i % 250 + 1);
        jobs.add(kNow + 60s + std::chrono::milliseconds{i}, job(source));
        ASSERT_LE(jobs.size(), 256u);
    }
    EXPECT_EQ(jobs.size(), 256u);
    EXPECT_FALSE(jobs.add(kNow + 120s, job("10.0.0.1")));
    EXPECT_TRUE(jobs.add(kNow + 3s, job("10.0.0.1", "upnp:rootdevice")));
    EXPECT_EQ(jobs.size(), 256u);
    EXPECT_EQ(jobs.take_due(kNow + 3s)->target, "upnp:rootdevice");
}

TEST(SsdpMessage, TextsAreExact) {
    const SsdpDevice server{.id = "uuid:896659847466-00-1a-2b-3c-4d-5e-789",
                            .address = "10.0.0.7",
                            .http_port = 9000,
                            .roles = ROLE_MEDIA_SERVER};
    const auto messages = [&](SsdpMessage kind) {
        return ssdp_messages(server, "urn:schemas-upnp-org:device:MediaServer:1", kind,
                             "Sat, 21 Nov 2026 09:15:26 GMT");
    };
    EXPECT_THAT(
        messages(SsdpMessage::alive),
        testing::ElementsAre("NOTIFY * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nCACHE-CONTROL: max-age=1810\r\n"
                             "LOCATION: http://10.0.0.7:9000/DeviceDescription.xml\r\n"
                             "NT: urn:schemas-upnp-org:device:MediaServer:1\r\nNTS: ssdp:alive\r\n"
                             "SERVER: Linux/2.x.x, UPnP/1.0, Pelorama UPnP SDK/1.0\r\n"
                             "USN: uuid:896659847466-00-1a-2b-3c-4d-5e-789::urn:schemas-upnp-org:device:MediaServer:1"
                             "\r\n\r\n"));
    EXPECT_THAT(
        messages(SsdpMessage::search_reply),
        testing::ElementsAre("HTTP/1.1 200 OK\r\nCACHE-CONTROL: max-age=1810\r\n"
                             "DATE: Sat, 21 Nov 2026 09:15:26 GMT\r\nEXT:\r\n"
                             "LOCATION: http://10.0.0.7:9000/DeviceDescription.xml\r\n"
                             "SERVER: Linux/2.x.x, UPnP/1.0, Pelorama UPnP SDK/1.0\r\n"
                             "ST: urn:schemas-upnp-org:device:MediaServer:1\r\n"
                             "USN: uuid:896659847466-00-1a-2b-3c-4d-5e-789::urn:schemas-upnp-org:device:MediaServer:1"
                             "\r\nContent-Length: 0\r\n\r\n"));
    EXPECT_EQ(ssdp_byebye_messages(server).front(),
              "NOTIFY * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nNT: uuid:896659847466-00-1a-2b-3c-4d-5e-789\r\n"
              "NTS: ssdp:byebye\r\nUSN: uuid:896659847466-00-1a-2b-3c-4d-5e-789\r\n\r\n");
}

}  // namespace
