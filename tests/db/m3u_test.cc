#include "db/m3u.h"

#include <gmock/gmock.h>

#include "support/store_fixture.h"

namespace {

class M3u : public StoreFixture {
protected:
    static void add(const std::string& title, std::int32_t track, const std::string& album) {
        ASSERT_EQ(
            db_add_item(
                {.title = title, .artist = "A", .album = album, .path = "http://h/" + title + ".mp3", .track = track}),
            AddResult::added);
    }
    static std::string line(const std::string& title) {
        return "http://me/disk/" + std::to_string(id_of("http://h/" + title + ".mp3")) + ".mp3\r\n";
    }
};

TEST_F(M3u, ListsAContainerInItsOrderAndThenItsFolders) {
    add("b", 2, "Old");
    add("a", 2, "Old");
    add("first", 1, "Old");
    add("other", 1, "New");
    ASSERT_EQ(db_add_item({.title = "film", .media_class = ObjectClass::movie, .path = "http://h/film.mpg"}),
              AddResult::added);
    const std::string old_album = line("first") + line("a") + line("b");
    EXPECT_EQ(m3u_container("http://me/", std::to_string(id_of_container({"Music", "Albums", "Old"}))),
              "#EXTM3U\r\n" + old_album);
    // The newest folder first ("- All -" was made behind the first album); lines carry the items' own ids.
    const std::string all = line("first") + line("other") + line("a") + line("b");
    EXPECT_EQ(m3u_container("http://me/", std::to_string(id_of_container({"Music", "Artists/Albums", "A"})) + ".m3u"),
              "#EXTM3U\r\n" + line("other") + all + old_album);
    EXPECT_EQ(m3u_container("http://me/", std::to_string(id_of_container({"Videos"}))), "#EXTM3U\r\n");
}

TEST_F(M3u, EveryFolderStopsBehindAMillionBytesOfItsOwn) {
    for (int n = 0; n < 100; ++n) add("track " + std::to_string(n), n, "B");
    const std::string base = "http://" + std::string(20'000, 'h') + "/";
    const auto size_of = [&](ObjectId id) { return m3u_container(base, std::to_string(id)).value_or("").size(); };
    EXPECT_GT(size_of(id_of_container({"Music", "All Tracks"})), 1'000'000u);
    EXPECT_LT(size_of(id_of_container({"Music", "All Tracks"})), 1'000'000u + 20'100);
    // The tracks stand in some thirty folders, and all together stop as well.
    EXPECT_GT(size_of(id_of_container({"Music", "Artists/Albums"})), 2'000'000u);
    EXPECT_LT(size_of(kRootId), kMaxM3uBytes + 1'020'100);
}

}  // namespace
