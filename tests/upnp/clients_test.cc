#include "upnp/clients.h"

#include <gtest/gtest.h>

#include "core/settings.h"

namespace {

class Clients : public testing::Test {
protected:
    Clients() { clients_reset(); }
    ~Clients() override {
        clients_reset();
        settings_free_all();
    }
};

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
    for (const ClientKind kind : {ClientKind::netgear_mp101, ClientKind::dlink_dsm320, ClientKind::noxon})
        set_client_type(kind, "10.0.0.1");
    EXPECT_EQ(client_type("10.0.0.1"), ClientKind::netgear_mp101);

    set_client_type(ClientKind::linksys, "10.0.0.3");
    set_client_type(ClientKind::roku_soundbridge, "10.0.0.5");
    set_client_type(ClientKind::sony, "10.0.0.6");
    for (const char* music_only : {"10.0.0.1", "10.0.0.3", "10.0.0.4", "10.0.0.5", "10.0.0.8", "10.0.0.9"})
        EXPECT_TRUE(is_music_client(music_only)) << music_only;
    for (const char* any : {"10.0.0.2", "10.0.0.6", "10.0.0.7", "10.0.0.", ""})
        EXPECT_FALSE(is_music_client(any)) << any;
}

}  // namespace
