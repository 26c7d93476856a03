#include "handlers/now_playing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "support/handler_call.h"
#include "support/store_fixture.h"
#include "upnp/announcement.h"

namespace {

class NowPlayingPage : public StoreFixture {
protected:
    void SetUp() override {
        StoreFixture::SetUp();
        now_playing_reset();
    }
    static ObjectId add(std::string_view path, std::string_view title, ObjectClass type) {
        db_add_item({.title = std::string{title},
                     .media_class = type,
                     .artist = "Tom & Co",
                     .path = std::string{path},
                     .duration = "0:01:00"});
        return id_of(path, type);
    }
    static std::string page() { return call_handler(handle_rpc, "/rpc?playing").body; }
};

TEST_F(NowPlayingPage, ListsClientsInTheOrderOfTheirFirstRequest) {
    const ObjectId song = add("http://a.example/a.mp3", "<b>Song</b>", ObjectClass::music_track);
    const ObjectId film = add("http://a.example/a.avi", "Film", ObjectClass::movie);
    now_playing_update("192.0.2.1", song, 100);
    now_playing_update("192.0.2.2", film, 2'000'000);
    now_playing_update("192.0.2.1", song, 5'000'000'000);
    now_playing_update("192.0.2.3", 4711, 7);
    EXPECT_EQ(page(),
              "playing<br>\n"
              "192.0.2.1\t" +
                  std::to_string(song) +
                  "\t5000000000\t&lt;b&gt;Song&lt;/b&gt;\tTom &amp; Co\t0:01:00\t\t<br>\n"
                  "192.0.2.2\t" +
                  std::to_string(film) +
                  "\t500000\tFilm\tTom &amp; Co\t0:01:00\t\t<br>\n"
                  "192.0.2.3\t4711\t7\t\t<br>\n");
}

TEST_F(NowPlayingPage, TheEleventhClientIsNeverListed) {
    for (int i = 1; i <= 11; ++i) now_playing_update("192.0.2." + std::to_string(i), 1, i);
    EXPECT_THAT(page(), testing::HasSubstr("192.0.2.10\t"));
    EXPECT_THAT(page(), testing::Not(testing::HasSubstr("192.0.2.11\t")));
    now_playing_update("192.0.2.10", 1, 999);
    EXPECT_THAT(page(), testing::HasSubstr("192.0.2.10\t1\t999\t"));
}

TEST_F(NowPlayingPage, TheUrlDecidesWhatIsSwitched) {
    struct {
        const char *url, *body;
        AnnouncementMode mode_after;
    } const rows[] = {
        {"/rpc?playing&mode?stealth", "playing<br>\n", AnnouncementMode::announcing},
        {"/rpc?mode?stealth&mode?alive", "SSDP disabled. MediaServer in stealth mode!\n", AnnouncementMode::silent},
        {"/rpc/mode?alive", "SSDP enabled. MediaServer alive!\n", AnnouncementMode::announcing},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(call_handler(handle_rpc, row.url).body, row.body);
        EXPECT_EQ(announcement_mode(), row.mode_after) << row.url;
    }
    EXPECT_EQ(call_handler(handle_rpc, "/rpc/mode?STEALTH").status_line, "HTTP/1.1 404 Not Found");
}

}  // namespace
