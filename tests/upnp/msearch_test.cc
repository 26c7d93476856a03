#include "upnp/msearch.h"

#include <gmock/gmock.h>

namespace {

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
    struct {
        std::string lines, target;
        unsigned max_wait;
    } const rows[] = {
        {"mx:   7\r\nst:   upnp:rootdevice trailing\r\n", "upnp:rootdevice", 7},
        {"MX: 121\r\nST:a\r\n", "a", 120},
        {"MX: 99999999999999999999\r\nST:a\r\n", "a", 120},
        {"MX: \xff\x80\r\nST:a\xc3\xa9\r\n", "a\xc3\xa9", 1},
        {"MX : 9\r\nST : a\r\n", "", 5},  // neither "MX:" nor "ST:" begins a line
        {"MX: 2\r\nST:\ta\r\n", "", 2},
        {"ST: a", "a", 5},
        {"ST: " + std::string(129, 'x') + "\r\n", std::string(128, 'x'), 5},
        {std::string{"MX: 4\r\nST: a\0b\r\n", 17}, "a", 4},
    };
    for (const auto& c : rows) {
        const auto request = msearch_parse(search(c.lines));
        ASSERT_TRUE(request) << c.lines;
        EXPECT_EQ(request->target, c.target) << c.lines;
        EXPECT_EQ(request->max_wait, c.max_wait) << c.lines;
    }
}

TEST(Msearch, ReceiversAreRecognisedByTheirMark) {
    using enum ClientKind;
    using testing::ElementsAre;
    const auto senders = [](const std::string& line) { return msearch_parse(search("ST:a\r\n" + line))->senders; };
    EXPECT_THAT(senders("USER-AGENT: Netgear MP101\r\n"), ElementsAre(netgear_mp101));
    EXPECT_THAT(senders("MYNAME: \"D2730\"\r\n"), ElementsAre(go_video_d2730));
    EXPECT_THAT(senders("X: netgear mp101, myname: \"D2730\"\r\n"), ElementsAre());
}

}  // namespace
