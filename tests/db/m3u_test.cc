#include "db/m3u.h"

#include "support/store_fixture.h"

namespace {

class M3u : public StoreFixture {
protected:
    // Adds a track and gives its line.
    static std::string add_track(const std::string& title, std::int32_t track, const std::string& album) {
        const ObjectId id =
            add({.title = title, .artist = "A", .album = album, .path = "http://h/" + title + ".mp3", .track = track});
        return "http://me/disk/" + std::to_string(id) + ".mp3\r\n";
    }
    static Text list(const Titles& titles, const std::string& base = "http://me/") {
        return m3u_container(base, std::to_string(id_of_container(titles)));
    }
};

TEST_F(M3u, ListsAContainerInItsOrderAndThenItsFolders) {
    const std::string b = add_track("b", 2, "Old"), a = add_track("a", 2, "Old"), first = add_track("first", 1, "Old");
    const std::string other = add_track("other", 1, "New");
    add({.title = "film", .media_class = ObjectClass::movie, .path = "http://h/film.mpg"});
    EXPECT_EQ(list({"Music", "Albums", "Old"}), "#EXTM3U\r\n" + first + a + b);
    // The newest folder first ("- All -" was made behind the first album); lines carry the items' own ids.
    EXPECT_EQ(list({"Music", "Artists/Albums", "A"}), "#EXTM3U\r\n" + other + first + other + a + b + first + a + b);
    EXPECT_EQ(list({"Videos"}), "#EXTM3U\r\n");
}

TEST_F(M3u, EveryFolderStopsBehindAMillionBytesOfItsOwn) {
    for (int n = 0; n < 100; ++n) add_track("track " + std::to_string(n), n, "B");
    const auto size_of = [](const Titles& titles) {
        return list(titles, "http://" + std::string(20'000, 'h') + "/").value_or("").size();
    };
    EXPECT_GT(size_of({"Music", "All Tracks"}), 1'000'000u);
    EXPECT_LT(size_of({"Music", "All Tracks"}), 1'000'000u + 20'100);
    // The tracks stand in some thirty folders, and all together stop as well.
    EXPECT_GT(size_of({"Music", "Artists/Albums"}), 2'000'000u);
    EXPECT_LT(size_of({}), kMaxM3uBytes + 1'020'100);
}

}  // namespace
