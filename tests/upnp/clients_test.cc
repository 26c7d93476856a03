#include "upnp/clients.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "core/settings.h"
#include "support/http_peer.h"
#include "support/own_network.h"
#include "support/scripted_server.h"

namespace {

using After = ScriptedServer::After;

constexpr int kNoxonPort = 80;
constexpr int kDlinkPort = 59089;

class Clients : public testing::Test {
protected:
    void SetUp() override { clients_reset(); }
    void TearDown() override {
        clients_reset();
        settings_free_all();
    }
};

std::string page(const std::string& text) {
    return "HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n<root>" + text + "</root>";
}

TEST_F(Clients, AreKnownByAddressNineAtMost) {
    for (int i = 1; i <= 10; ++i) set_client_type(ClientKind::sony, "10.0.0." + std::to_string(i));
    EXPECT_EQ(client_type("10.0.0.9"), ClientKind::sony);
    EXPECT_EQ(client_type("10.0.0.10"), ClientKind::generic);
    EXPECT_FALSE(client_at(9));
    set_client_type(ClientKind::go_video_d2730, "10.0.0.9");
    EXPECT_EQ(client_type("10.0.0.9"), ClientKind::go_video_d2730) << "known ones still change";
    EXPECT_EQ(client_at(8)->address, "10.0.0.9");
    EXPECT_EQ(client_at(8)->kind_name, "Go.Video D2730");
}

TEST_F(Clients, ConfiguredOnesNeedNoProofAndNeverReplaceWhatIsKnown) {
    settings_set(Setting::dlinkclient, "10.0.0.1, 10.0.0.2");
    settings_set(Setting::noxonclient, "10.0.0.3");
    clients_register_configured();
    EXPECT_EQ(client_type("10.0.0.2"), ClientKind::dlink_dsm320);
    EXPECT_EQ(client_type("10.0.0.3"), ClientKind::noxon);
    set_client_type(ClientKind::netgear_mp101, "10.0.0.1");
    set_client_type(ClientKind::dlink_dsm320, "10.0.0.1");
    set_client_type(ClientKind::noxon, "10.0.0.1");
    EXPECT_EQ(client_type("10.0.0.1"), ClientKind::netgear_mp101);
}

TEST_F(Clients, MusicOnlyOnesAreFourKindsAndTheConfigured) {
    settings_set(Setting::musicclient, "10.0.0.8,10.0.0.9");
    settings_set(Setting::noxonclient, "10.0.0.4");
    set_client_type(ClientKind::netgear_mp101, "10.0.0.1");
    set_client_type(ClientKind::linksys, "10.0.0.2");
    set_client_type(ClientKind::roku_soundbridge, "10.0.0.3");
    set_client_type(ClientKind::noxon, "10.0.0.4");
    set_client_type(ClientKind::sony, "10.0.0.5");
    for (const char* yes : {"10.0.0.1", "10.0.0.2", "10.0.0.3", "10.0.0.4", "10.0.0.8", "10.0.0.9"}) {
        EXPECT_TRUE(is_music_client(yes)) << yes;
    }
    for (const char* no : {"10.0.0.5", "10.0.0.6", "10.0.0.", ""}) EXPECT_FALSE(is_music_client(no)) << no;
}

// These devices are asked at fixed ports.
class ClaimedClients : public Clients {
protected:
    void SetUp() override {
        Clients::SetUp();
        if (!enter_own_network()) GTEST_SKIP() << "no network namespace to be had: the fixed ports may be in use";
    }
};

TEST_F(ClaimedClients, AreWhatTheirDescriptionSays) {
    {
        ScriptedServer noxon{page("TerraTec"), After::close, "127.0.0.2", kNoxonPort};
        set_client_type(ClientKind::noxon, "127.0.0.2");
        EXPECT_TRUE(noxon.last_request().starts_with("GET /description.xml HTTP/1.1\r\n"));
        ScriptedServer other{page("Terratec"), After::close, "127.0.0.3", kNoxonPort};
        set_client_type(ClientKind::noxon, "127.0.0.3");
        set_client_type(ClientKind::noxon, "127.0.0.3");
        EXPECT_EQ(other.connections(), 1) << "asked once";
    }
    {
        ScriptedServer dlink{page("<manufacturer>DLink</manufacturer>"), After::close, "127.0.0.4", kDlinkPort};
        set_client_type(ClientKind::dlink_dsm320, "127.0.0.4");
        EXPECT_TRUE(dlink.last_request().starts_with("GET / HTTP/1.1\r\n"));
        set_client_type(ClientKind::dlink_dsm320, "127.0.0.5");
    }
    EXPECT_EQ(client_type("127.0.0.2"), ClientKind::noxon);
    EXPECT_EQ(client_type("127.0.0.3"), ClientKind::generic);
    EXPECT_EQ(client_type("127.0.0.4"), ClientKind::dlink_dsm320);
    EXPECT_EQ(client_type("127.0.0.5"), ClientKind::generic) << "nobody answers there";
    EXPECT_EQ(client_at(3)->kind_name, "Generic Media Receiver");
}

TEST_F(ClaimedClients, AreAskedOnceWhileOthersGoOn) {
    ScriptedServer silent{"", After::hold, "127.0.0.2", kDlinkPort};
    std::jthread first{[] { set_client_type(ClientKind::dlink_dsm320, "127.0.0.2"); }};
    ASSERT_TRUE(holds_within(10'000, [&] { return silent.connections() == 1; }));

    set_client_type(ClientKind::dlink_dsm320, "127.0.0.2");
    EXPECT_EQ(client_type("127.0.0.2"), ClientKind::generic);
    EXPECT_FALSE(client_at(0)) << "not known before it has answered";
    set_client_type(ClientKind::sony, "127.0.0.3");
    EXPECT_EQ(client_type("127.0.0.3"), ClientKind::sony);
    set_client_type(ClientKind::netgear_mp101, "127.0.0.2");
    silent.let_go();
    first.join();
    EXPECT_EQ(silent.connections(), 1);
    EXPECT_EQ(client_type("127.0.0.2"), ClientKind::netgear_mp101) << "what was seen meanwhile stays";
}

TEST_F(ClaimedClients, ThatAnswerWithoutEndAreGivenUp) {
    ScriptedServer endless{"HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n" + std::string(18 * 1024 * 1024, 'x'),
                           After::close, "127.0.0.2", kDlinkPort};
    const std::uint32_t start = uptime_ms();
    set_client_type(ClientKind::dlink_dsm320, "127.0.0.2");
    EXPECT_LT(uptime_ms() - start, 9000u);
    EXPECT_EQ(client_type("127.0.0.2"), ClientKind::generic);
}

}  // namespace
