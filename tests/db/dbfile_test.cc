#include "db/dbfile.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "support/store_fixture.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

DbLines lines_of(std::string_view text, std::size_t at_a_time = 100'000) {
    return DbLines{[text, at_a_time](std::span<char> into) mutable {
        const std::size_t n = std::min({into.size(), at_a_time, text.size()});
        text.copy(into.data(), n);
        text.remove_prefix(n);
        return n;
    }};
}

TEST(DbLines, EndAtControlBytesAndAtTheirLimit) {
    const std::string text = "one\r\n\n\ttwo\tthree\n# comment\n\x7F\xE9 end \n" + std::string(1030, 'x') + "\nlast";
    for (const std::size_t at_a_time : {1u, 7u, 100'000u}) {
        std::vector<std::string> all;
        DbLines lines = lines_of(text, at_a_time);
        while (const auto line = lines.next()) all.emplace_back(*line);
        EXPECT_THAT(all, ElementsAre("one", "two", "three", "\x7F\xE9 end ", std::string(1024, 'x'), "xxxxxx", "last"));
    }
}

TEST(DbRecord, IsReadFieldByField) {
    DbLines lines = lines_of(
        "TI:first\nti:Second\nCL:nonsense\ncl:object.item.videoItem.movie\nCL:object.item.imageItem.photo\nar:A\nAR:"
        "B\nAL:\nXX:unknown\nRE:/a\nRE:/b\n"
        "TR: 7\nSI:3221225472\nMT:1700000000\nPC:3\nPT:-1\nBI:128\nno tag\n<eoi>\nTI:next");
    const DbRecord record = dbfile_parse_record(lines);
    const NewItem& item = record.item;
    EXPECT_EQ(item.media_class, ObjectClass::movie) << "the first that is one";
    EXPECT_EQ(item.title, "Second") << "the last title counts";
    EXPECT_EQ(item.artist, "A") << "of the others the first";
    EXPECT_EQ(item.album, "") << "empty, not missing";
    EXPECT_EQ(item.genre, std::nullopt);
    EXPECT_EQ(item.path, "/a");
    EXPECT_EQ(item.size, -1073741824) << "the low 32 bits with their sign";
    EXPECT_THAT((std::vector<int>{item.track, item.modified, item.play_count, item.last_played, item.bitrate}),
                ElementsAre(7, 1700000000, 3, -1, 128));
    EXPECT_EQ(lines.next(), "TI:next");
    EXPECT_TRUE(record.has_class && !dbfile_parse_record(lines).has_class);
}

class DbFile : public StoreFixture {
protected:
    // The library as it would be written.
    static std::string written() {
        DbText text;
        RunningFlag running;
        running.set_running();
        StoreLock lock;
        const MediaStore& places = store(lock);
        for (const MediaContainer* list : {places.all_tracks, places.all_pictures, places.all_videos})
            EXPECT_TRUE(dbfile_write_items(lock, list, text, running));
        std::string all;
        for (const std::string& piece : text.pieces()) all += piece;
        return all;
    }
    // A new store that has read this.
    static void start_again_with(std::string_view text) {
        db_destroy();
        db_create();
        DbLines lines = lines_of(text);
        while (const auto line = lines.next())
            if (dbfile_begins_record(*line)) dbfile_read_record(lines);
    }
};

TEST_F(DbFile, HoldsTheFieldsThatAreThereInOrder) {
    const std::string tracks =
        "<SOI>\nTI:b\nCL:object.item.audioItem.musicTrack\nRE:http://h/2\n<EOI>\n"
        "<SOI>\nTI:a\nCL:object.item.audioItem.musicTrack\nAL:\nRE:http://h/1\nSI:3221225472\n<EOI>\n";
    const std::string photo =
        "<SOI>\nTI:T\nCL:object.item.imageItem.photo\nAR:Ar\nAL:Al\nGE:Ge\nDA:2001-02-03\nRE:http://h/1\n"
        "DU:0:01:02\nDE:De\nKE:Ke\nTR:1\nWI:2\nHE:3\nAA:4\nCO:5\nBI:6\nSI:8\nMT:9\nPT:10\nPC:11\n<EOI>\n";
    start_again_with(photo);
    add({.title = "a", .album = "", .path = "http://h/1", .size = 3221225472});
    add({.title = "b", .path = "http://h/2"});
    EXPECT_EQ(written(), tracks + photo);
}

TEST_F(DbFile, NoTagSmugglesInALine) {
    const std::string filled(1021, 'x');
    add({.title = filled + "RE:http://h/evil",
         .path = "http://h/1",
         .description = "d\n<EOI>\n<SOI>\nRE:http://h/evil",
         .keywords = std::string(1020, 'k') + "\xC3\xA9"});
    add({.title = "cut", .path = "http://h/2\nRE:http://h/evil"});
    add({.title = "long", .path = "http://h/" + filled});
    const std::string text = written();
    EXPECT_THAT(text, testing::Not(HasSubstr("evil")));
    EXPECT_THAT(text, HasSubstr("TI:" + filled + "\n"));
    EXPECT_THAT(text, HasSubstr("DE:d\n"));
    EXPECT_THAT(text, HasSubstr("KE:" + std::string(1020, 'k') + "\n")) << "no half characters";
    start_again_with(text);
    EXPECT_THAT(children({"Music", "All Tracks"}), ElementsAre("(" + filled + ")"));
}

}  // namespace
