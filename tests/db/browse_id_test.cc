#include "upnp/browse_id.h"

#include <gtest/gtest.h>

#include "support/store_fixture.h"
#include "upnp/clients.h"

namespace {

constexpr const char* kReceiver = "127.0.0.50";

class BrowseIds : public StoreFixture {
protected:
    void SetUp() override {
        StoreFixture::SetUp();
        clients_reset();
    }
    static ObjectId map(std::string_view text, std::string_view address = "127.0.0.51") {
        const BrowseId id = browse_id_read(text, address);
        StoreLock lock;
        return db_map_browse_id(lock, id);
    }
    static ObjectId place(MediaContainer* MediaStore::*container) {
        StoreLock lock;
        return (store(lock).*container)->id;
    }
};

TEST_F(BrowseIds, MapsNamesAndNumbers) {
    EXPECT_EQ(map("0\\Music\\"), place(&MediaStore::music));
    EXPECT_EQ(map("0\\Photo\\"), place(&MediaStore::pictures));
    EXPECT_EQ(map("0\\Movie\\"), place(&MediaStore::videos));
    constexpr std::pair<const char*, ObjectId> kCases[] = {{"0", 0},           {" 17", 17},
                                                           {"17.mp3", 17},     {"0\\Music", 0},
                                                           {"-1", -1},         {"2147483647", 2147483647},
                                                           {"2147483648", -1}, {"99999999999999999999", -1}};
    for (const auto& [text, id] : kCases) EXPECT_EQ(map(text, "127.0.0.52"), id) << text;
}

TEST_F(BrowseIds, TellsThatAReceiverIsForMusicOnly) {
    EXPECT_EQ(map("0", kReceiver), kRootId);
    map("0\\Photo\\", kReceiver);
    EXPECT_FALSE(is_music_client(kReceiver));
    map("0\\Music\\", kReceiver);
    EXPECT_TRUE(is_music_client(kReceiver));
    EXPECT_EQ(map("0", kReceiver), place(&MediaStore::music));
    EXPECT_EQ(map("00", kReceiver), kRootId);

    // A kind that is known to be for music stays what it is.
    set_client_type(ClientKind::roku_soundbridge, "127.0.0.53");
    map("0\\Music\\", "127.0.0.53");
    EXPECT_EQ(client_type("127.0.0.53"), ClientKind::roku_soundbridge);
}

class WithoutMusic : public BrowseIds {
    void configure() override { settings_set(Setting::rootmusic, ""); }
};

TEST_F(WithoutMusic, NamesOfMissingFoldersMeanTheRoot) {
    EXPECT_EQ(map("0\\Music\\", kReceiver), kRootId);
    EXPECT_EQ(map("0", kReceiver), kRootId);
}

}  // namespace
