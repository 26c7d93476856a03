#include "upnp/clients.h"

#include <gtest/gtest.h>

#include <string>

#include "core/settings.h"
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
    EXPECT_EQ(client_type("10.0.0.10"), ClientKind::generic);
    set_client_type(ClientKind::go_video_d2730, "10.0.0.9");
    EXPECT_EQ(client_type("10.0.0.9"), ClientKind::go_video_d2730) << "known ones still change";
}

TEST_F(Clients, ConfiguredOnesNeedNoProofAndNeverReplaceWhatIsKnown) {
    settings_set(Setting::dlinkclient, "10.0.0.1, 10.0.0.2");
    settings_set(Setting::noxonclient, "10.0.0.4");
    settings_set(Setting::musicclient, "10.0.0.8,10.0.0.9");
    clients_register_configured();
    EXPECT_EQ(client_type("10.0.0.2"), ClientKind::dlink_dsm320);
    EXPECT_EQ(client_type("10.0.0.4"), ClientKind::noxon);
    set_client_type(ClientKind::netgear_mp101, "10.0.0.1");
    set_client_type(ClientKind::dlink_dsm320, "10.0.0.1");
    set_client_type(ClientKind::noxon, "10.0.0.1");
    EXPECT_EQ(client_type("10.0.0.1"), ClientKind::netgear_mp101);

    set_client_type(ClientKind::linksys, "10.0.0.3");
    set_client_type(ClientKind::roku_soundbridge, "10.0.0.5");
    set_client_type(ClientKind::sony, "10.0.0.6");
    for (const char* music_only : {"10.0.0.1", "10.0.0.3", "10.0.0.4", "10.0.0.5", "10.0.0.8", "10.0.0.9"})
        EXPECT_TRUE(is_music_client(music_only)) << music_only;
    for (const char* any : {"10.0.0.2", "10.0.0.6", "10.0.0.7", "10.0.0.", ""})
        EXPECT_FALSE(is_music_client(any)) << any;
}

// Asked at fixed ports.
TEST_F(Clients, ClaimedOnesAreWhatTheirDescriptionSays) {
    if (!enter_own_network()) GTEST_SKIP() << "no network namespace to be had: the fixed ports may be in use";
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
}

}  // namespace
