#include "upnp/browse_id.h"

#include "support/store_fixture.h"
#include "upnp/clients.h"

namespace {

constexpr const char* kClient = "127.0.0.50";

class BrowseIds : public StoreFixture {
protected:
    BrowseIds() { clients_reset(); }
    static ObjectId map(std::string_view text, std::string_view address = "127.0.0.51") {
        const BrowseId id = browse_id_read(text, address);
        StoreLock lock;
        return db_map_browse_id(lock, id);
    }
};

TEST_F(BrowseIds, MapsNamesAndNumbers) {
    for (const auto& [text, id] : std::initializer_list<std::pair<const char*, ObjectId>>{
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

TEST_F(BrowseIds, TellsThatAClientIsForMusicOnly) {
    const ObjectId music = id_of_container({"Music"});
    EXPECT_EQ(map("0", kClient), kRootId);
    map("0\\Photo\\", kClient);
    EXPECT_FALSE(is_music_client(kClient));
    map("0\\Music\\", kClient);
    EXPECT_TRUE(is_music_client(kClient));
    EXPECT_EQ(map("0", kClient), music);
    EXPECT_EQ(map("00", kClient), kRootId);
    // A kind that is known to be for music stays what it is.
    set_client_type(ClientKind::roku_soundbridge, "127.0.0.53");
    map("0\\Music\\", "127.0.0.53");
    EXPECT_EQ(client_type("127.0.0.53"), ClientKind::roku_soundbridge);
}

class WithoutMusic : public BrowseIds {
    void configure() override { settings_set(Setting::rootmusic, ""); }
};

TEST_F(WithoutMusic, NamesOfMissingFoldersMeanTheRoot) {
    EXPECT_EQ(map("0\\Music\\", kClient), kRootId);
    EXPECT_EQ(map("0", kClient), kRootId);
}

}  // namespace
