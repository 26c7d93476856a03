#include "import/radio.h"

#include <gtest/gtest.h>

namespace {

std::string entry(const std::string& name, const std::string& genre, const std::string& url) {
    return "<entry Playstring=\"" + url + "\"><Name>" + name + "</Name><Genre>" + genre +
           "</Genre><Bitrate>128 kbps</Bitrate><Nowplaying>A Band - A Song</Nowplaying></entry>";
}
std::vector<NewItem> stations_of(const std::string& entries) {
    return radio_parse_stations("HTTP/1.1 200 OK\r\n\r\n<?xml version=\"1.0\"?><playlist>" + entries + "</playlist>");
}

TEST(RadioGenre, IsTheFirstOfTheTableThatOccurs) {
    EXPECT_EQ(radio_genre_name("Pop Rock"), "Pop");
    EXPECT_EQ(radio_genre_name("various, hIP-hOP"), "Hip-Hop");
    EXPECT_EQ(radio_genre_name("JAnime"), "Anime");
}

TEST(RadioStations, AreReadFromTheDirectory) {
    const auto stations = stations_of(entry("One &amp; All", "smooth jazz", "http://h/1?a=b&amp;c=d") +
                                      "<entry Playstring=\"http://h/2\"/>" + entry("Three", "", "/etc/shadow"));
    ASSERT_EQ(stations.size(), 3u);
    EXPECT_EQ(stations[0].title, "One & All");
    EXPECT_EQ(stations[0].artist, "A Band - A Song");
    EXPECT_EQ(stations[0].path, "http://h/1?a=b&c=d");
    EXPECT_EQ(stations[0].bitrate, 128);
    // What an entry does not say is not taken from the next one.
    EXPECT_EQ(stations[1].title, std::nullopt);
    EXPECT_EQ(stations[1].genre, "Other");
    EXPECT_EQ(stations[1].bitrate, 0);
}

TEST(RadioStations, AreBounded) {
    std::string endless, large;
    for (std::size_t i = 0; i < kMaxStations + 1; ++i) endless += "<entry/>";
    EXPECT_EQ(stations_of(endless).size(), kMaxStations);
    // Of a document that is too long whole stations are taken.
    const std::string url = "http://h/" + std::string(1000, 'u');
    while (large.size() < 5'000'000) large += entry("x", "Rock", url);
    for (const NewItem& station : stations_of(large)) ASSERT_EQ(station.path, url);
}

}  // namespace
