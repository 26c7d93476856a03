#include "http/now_playing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "core/settings.h"
#include "db/add_item.h"
#include "db/store.h"
#include "support/handler_call.h"
#include "upnp/announcement.h"

namespace {

class NowPlayingPage : public testing::Test {
protected:
    void SetUp() override {
        settings_set_defaults();
        db_create();
        now_playing_reset();
    }
    void TearDown() override {
        set_announcement_mode(AnnouncementMode::announcing);
        db_destroy();
        settings_free_all();
    }
    static ObjectId add(std::string_view path, std::string_view title, ObjectClass type) {
        db_add_item({.title = std::string{title},
                     .media_class = type,
                     .artist = "Tom & Co",
                     .path = std::string{path},
                     .duration = "0:01:00"});
        const StoreLock lock;
        return db_find_in_type(lock, path, type)->id;
    }
    static std::string page() { return call_handler(rpc_handler, "/rpc?playing").body; }
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
    struct Case {
        const char *url, *status, *body;
        AnnouncementMode mode_after;
    };
    constexpr auto kSilent = AnnouncementMode::silent;
    constexpr auto kAnnouncing = AnnouncementMode::announcing;
    const Case cases[] = {
        {"/rpc?playing&mode?stealth", "HTTP/1.1 200 OK", "playing<br>\n", kAnnouncing},
        {"/rpc?mode?stealth&mode?alive", "HTTP/1.1 200 OK", "SSDP disabled. MediaServer in stealth mode!\n", kSilent},
        {"/rpc/mode?STEALTH", "HTTP/1.1 404 Not Found", nullptr, kSilent},
        {"/rpc/mode?alive", "HTTP/1.1 200 OK", "SSDP enabled. MediaServer alive!\n", kAnnouncing},
        {"/rpc", "HTTP/1.1 404 Not Found", nullptr, kAnnouncing},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.url);
        const HandlerAnswer answer = call_handler(rpc_handler, c.url);
        EXPECT_EQ(answer.status_line, c.status);
        EXPECT_EQ(answer.header("Content-Type"), "text/html; charset=UTF-8");
        EXPECT_EQ(answer.header("Expires"), "0");
        EXPECT_EQ(answer.header("Pragma"), "no-cache");
        EXPECT_EQ(answer.header("Content-Length"), std::to_string(answer.body.size()));
        if (c.body != nullptr) {
            EXPECT_EQ(answer.body, c.body);
        }
        EXPECT_EQ(announcement_mode(), c.mode_after);
    }
}

}  // namespace
