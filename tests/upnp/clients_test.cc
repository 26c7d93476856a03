// Which client speaks, and which ids it may browse by.
#include <gtest/gtest.h>

#include "core/settings.h"
#include "support/rows.h"
#include "support/store_fixture.h"
#include "upnp/browse_id.h"
#include "upnp/clients.h"

namespace {

class Clients : public StoreFixture {
protected:
    Clients() { clients_reset(); }
    static ObjectId map(std::string_view text, std::string_view address = "127.0.0.51") {
        const RequestClient client = client_of(address);
        const BrowseId id = browse_id_read(text, client.music_only);
        client_learn_from_object_id(client, text, address);
        StoreLock lock;
        return db_map_browse_id(lock, id);
    }
};

TEST_F(Clients, AreKnownByAddressNineAtMost) {
    for (int i = 1; i <= 10; ++i) set_client_kind(ClientKind::sony, "10.0.0." + std::to_string(i));
    EXPECT_EQ(client_of("10.0.0.10").profile->kind, ClientKind::generic);
    set_client_kind(ClientKind::go_video_d2730, "10.0.0.9");
    EXPECT_EQ(client_of("10.0.0.9").profile->kind, ClientKind::go_video_d2730) << "known ones still change";
}

TEST_F(Clients, ConfiguredOnesNeedNoProofAndNeverReplaceWhatIsKnown) {
    settings_set(Setting::dlinkclient, "10.0.0.1, 10.0.0.2");
    settings_set(Setting::noxonclient, "10.0.0.4");
    settings_set(Setting::musicclient, "10.0.0.8,10.0.0.9");
    clients_register_configured();
    EXPECT_EQ(client_of("10.0.0.2").profile->kind, ClientKind::dlink_dsm320);
    EXPECT_EQ(client_of("10.0.0.4").profile->kind, ClientKind::noxon);
    for (const ClientKind kind : {ClientKind::netgear_mp101, ClientKind::dlink_dsm320, ClientKind::noxon})
        set_client_kind(kind, "10.0.0.1");
    EXPECT_EQ(client_of("10.0.0.1").profile->kind, ClientKind::netgear_mp101);

    set_client_kind(ClientKind::linksys, "10.0.0.3");
    set_client_kind(ClientKind::roku_soundbridge, "10.0.0.5");
    set_client_kind(ClientKind::sony, "10.0.0.6");
    for (const char* music_only : {"10.0.0.1", "10.0.0.3", "10.0.0.4", "10.0.0.5", "10.0.0.8", "10.0.0.9"})
        EXPECT_TRUE(client_of(music_only).music_only) << music_only;
    for (const char* any : {"10.0.0.2", "10.0.0.6", "10.0.0.7", "10.0.0.", ""})
        EXPECT_FALSE(client_of(any).music_only) << any;
}

TEST_F(Clients, BrowseByNamesAndNumbers) {
    for (const auto& [text, id] : Rows<const char*, ObjectId>{
             {"0\\Music\\", id_of_container({"Music"})},
             {"0\\Photo\\", id_of_container({"Pictures"})},
             {"0\\Movie\\", id_of_container({"Videos"})},
             {"0\\Music", 0},
             {" 17", 17},
             {"17.mp3", 17},
             {"-1", -1},
             {"2147483647", 2147483647},
             {"2147483648", -1},
             {"99999999999999999999", -1},
         })
        EXPECT_EQ(map(text), id) << text;
}

TEST_F(Clients, TellByTheIdsThatTheyAreForMusicOnly) {
    constexpr const char* kClient = "127.0.0.50";
    const ObjectId music = id_of_container({"Music"});
    EXPECT_EQ(map("0", kClient), kRootId);
    map("0\\Photo\\", kClient);
    EXPECT_FALSE(client_of(kClient).music_only);
    map("0\\Music\\", kClient);
    EXPECT_TRUE(client_of(kClient).music_only);
    EXPECT_EQ(map("0", kClient), music);
    EXPECT_EQ(map("00", kClient), kRootId);
    // A kind that is known to be for music stays what it is.
    set_client_kind(ClientKind::roku_soundbridge, "127.0.0.53");
    map("0\\Music\\", "127.0.0.53");
    EXPECT_EQ(client_of("127.0.0.53").profile->kind, ClientKind::roku_soundbridge);
}

}  // namespace
