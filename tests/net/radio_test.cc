#include "import/radio.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <string>

#include "support/http_peer.h"
#include "support/scripted_server.h"
#include "support/store_fixture.h"

namespace {

using testing::ElementsAre;

const std::string kOk = "HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n";

std::string entry(const std::string& name, const std::string& genre, const std::string& url) {
    return "<entry Playstring=\"" + url + "\"><Name>" + name + "</Name><Genre>" + genre +
           "</Genre><Bitrate>128 kbps</Bitrate><Nowplaying>A Band - A "
           "Song</Nowplaying><Listeners>42</Listeners></entry>";
}
std::string directory(const std::string& entries) {
    return kOk + "<?xml version=\"1.0\"?><playlist>" + entries + "</playlist>";
}

TEST(RadioGenre, IsTheFirstOfTheTableThatOccurs) {
    EXPECT_EQ(radio_genre_name("Pop Rock"), "Pop");
    EXPECT_EQ(radio_genre_name("various, hIP-hOP"), "Hip-Hop");
    EXPECT_EQ(radio_genre_name("JAnime"), "Anime");
}

TEST(RadioStations, AreReadFromTheDirectory) {
    const auto stations =
        radio_parse_stations(directory(entry("One &amp; All", "smooth jazz", "http://h/1?a=b&amp;c=d") +
                                       "<entry Playstring=\"http://h/2\"/>" + entry("Three", "", "/etc/shadow")));
    ASSERT_EQ(stations.size(), 3u);
    EXPECT_EQ(stations[0].title, "One & All");
    EXPECT_EQ(stations[0].artist, "A Band - A Song");
    EXPECT_EQ(stations[0].path, "http://h/1?a=b&c=d");
    EXPECT_EQ(stations[0].bitrate, 128);
    // What an entry does not say is not taken from the next one.
    EXPECT_EQ(stations[1].title, std::nullopt);
    EXPECT_EQ(stations[1].genre, "Other");
    EXPECT_EQ(stations[1].bitrate, 0);

    std::string endless;
    for (std::size_t i = 0; i < kMaxStations + 1; ++i) endless += "<entry/>";
    EXPECT_EQ(radio_parse_stations("<a>" + endless + "</a>").size(), kMaxStations);

    // Of a document that is too long whole stations are taken.
    const std::string url = "http://h/" + std::string(1000, 'u');
    std::string large;
    while (large.size() < 5'000'000) large += entry("x", "Rock", url);
    for (const NewItem& station : radio_parse_stations(directory(large))) ASSERT_EQ(station.path, url);
}

class Radio : public StoreFixture {
protected:
    void TearDown() override {
        unsetenv("PELORAMA_RADIO_HOST");
        StoreFixture::TearDown();
    }
    static void name_host(int port) { setenv("PELORAMA_RADIO_HOST", ("127.0.0.1:" + std::to_string(port)).c_str(), 1); }
    static void read_from(int port) {
        name_host(port);
        radio_read_stations(nullptr);
    }
    static std::vector<std::string> radio(std::vector<std::string_view> below = {}) {
        below.insert(below.begin(), {"Music", "Internet Radio"});
        return children(below);
    }
};

TEST_F(Radio, ReadingAgainReplacesStationsAndLeavesFavourites) {
    db_add_item({.title = "Mine",
                 .media_class = ObjectClass::audio_broadcast,
                 .playlist = "My stations",
                 .path = "http://h/mine"});
    ScriptedServer first{directory(entry("A", "Hard Rock", "http://h/a") + entry("B", "Jazz", "http://h/b") +
                                   entry("C", "Rock", "http://h/c") + entry("Own", "Rock", "http://h/mine"))};
    read_from(first.port());
    EXPECT_THAT(radio(), ElementsAre("Jazz", "Rock", "- Favorites- "));
    EXPECT_THAT(radio({"Rock"}), ElementsAre("(C)", "(A)"));
    ScriptedServer second{directory(entry("D", "Polka", "http://h/d"))};
    read_from(second.port());
    EXPECT_THAT(radio(), ElementsAre("Polka", "- Favorites- "));
    EXPECT_THAT(radio({"- Favorites- "}), ElementsAre("(Mine)"));

    // One placeholder stands for a directory that is not there, beside what was read before.
    constexpr const char* kPlaceholder = "<no connection to shoutcast>";
    ScriptedServer empty{kOk};
    constexpr int kDead = 1;  // nobody listens there
    for (const int port : {kDead, kDead, empty.port()}) {
        read_from(port);
        EXPECT_THAT(radio(), ElementsAre(kPlaceholder, "Polka", "- Favorites- "));
        EXPECT_THAT(radio({kPlaceholder}), ElementsAre("(<no connection to shoutcast>)"));
    }
    read_from(second.port());
    EXPECT_THAT(radio(), ElementsAre("Polka", "- Favorites- "));
}

TEST_F(Radio, WaitsForThePersistenceFileAndThenReadsOnceWhereNoPeriodIsSet) {
    settings_set(Setting::radioreread, "0");
    ScriptedServer server{directory(entry("A", "Rock", "http://h/a"))};
    name_host(server.port());
    RunningFlag running, reader;
    reader.set_running();
    radio_start(running, &reader);
    EXPECT_FALSE(holds_within(300, [&] { return server.connections() > 0; }));
    reader.clear();
    EXPECT_TRUE(holds_within(10'000, [&] { return running.idle(); }));
    EXPECT_EQ(server.connections(), 1);
    EXPECT_THAT(radio({"Rock"}), ElementsAre("(A)"));
}

}  // namespace
