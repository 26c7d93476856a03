#include "db/dbfile.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "support/store_fixture.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

DbLines lines_of(std::string_view text, std::size_t at_a_time = 100'000) {
    return DbLines{[text, at_a_time](std::span<char> into) mutable {
        const std::size_t n = std::min({into.size(), at_a_time, text.size()});
        text.copy(into.data(), n);
        text.remove_prefix(n);
        return n;
    }};
}

std::vector<std::string> all_lines(DbLines lines) {
    std::vector<std::string> all;
    while (const auto line = lines.next()) all.emplace_back(*line);
    return all;
}

TEST(DbLines, EndAtControlBytesAndAtTheirLimit) {
    const std::string text = "one\r\n\n\ttwo\tthree\n# comment\n\x7F\xE9 end \n" + std::string(1030, 'x') + "\nlast";
    for (const std::size_t at_a_time : {1u, 7u, 100'000u}) {
        EXPECT_THAT(all_lines(lines_of(text, at_a_time)),
                    ElementsAre("one", "two", "three", "\x7F\xE9 end ", std::string(1024, 'x'), "xxxxxx", "last"));
    }
}

TEST(DbRecord, IsReadFieldByField) {
    DbLines lines = lines_of(
        "TI:first\nti:Second\nCL:nonsense\ncl:object.item.videoItem.movie\nCL:object.item.imageItem.photo\nar:A\nAR:"
        "B\nAL:\nXX:unknown\nRE:/a\nRE:/b\n"
        "TR: 7\nSI:3221225472\nMT:1700000000\nPC:3\nPT:-1\nBI:128\nno tag\n<eoi>\nTI:next");
    const DbRecord record = dbfile_parse_record(lines);
    const NewItem& item = record.item;
    EXPECT_TRUE(record.has_class);
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
    EXPECT_FALSE(dbfile_parse_record(lines).has_class);
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
    static void read(std::string_view text) {
        DbLines lines = lines_of(text);
        while (const auto line = lines.next())
            if (dbfile_begins_record(*line)) dbfile_read_record(lines);
    }
    void start_again() {
        db_destroy();
        db_create();
    }
};

TEST_F(DbFile, WritesTheFieldsThatAreThereInOrder) {
    db_add_item({.title = "T",
                 .media_class = ObjectClass::photo,
                 .artist = "Ar",
                 .album = "Al",
                 .genre = "Ge",
                 .date = "2001-02-03",
                 .path = "http://h/1",
                 .duration = "0:01:02",
                 .description = "De",
                 .keywords = "Ke",
                 .track = 1,
                 .width = 2,
                 .height = 3,
                 .album_art = 4,
                 .compilation = 5,
                 .bitrate = 6,
                 .size = 3221225472,
                 .modified = 8,
                 .last_played = 9,
                 .play_count = 10});
    EXPECT_EQ(
        written(),
        "<SOI>\nTI:T\nCL:object.item.imageItem.photo\nAR:Ar\nAL:Al\nGE:Ge\nDA:2001-02-03\nRE:http://h/1\n"
        "DU:0:01:02\nDE:De\nKE:Ke\nTR:1\nWI:2\nHE:3\nAA:4\nCO:5\nBI:6\nSI:3221225472\nMT:8\nPT:9\nPC:10\n<EOI>\n");
    start_again();
    db_add_item({.title = "a", .album = "", .path = "http://h/1"});
    db_add_item({.title = "b", .path = "http://h/2"});
    EXPECT_EQ(written(),
              "<SOI>\nTI:b\nCL:object.item.audioItem.musicTrack\nRE:http://h/2\n<EOI>\n"
              "<SOI>\nTI:a\nCL:object.item.audioItem.musicTrack\nAL:\nRE:http://h/1\n<EOI>\n");
}

TEST_F(DbFile, NoTagSmugglesInALine) {
    const std::string filled(1021, 'x');
    db_add_item({.title = filled + "RE:http://h/evil",
                 .path = "http://h/1",
                 .description = "d\n<EOI>\n<SOI>\nRE:http://h/evil",
                 .keywords = std::string(1020, 'k') + "\xC3\xA9"});
    db_add_item({.title = "cut", .path = "http://h/2\nRE:http://h/evil"});
    db_add_item({.title = "long", .path = "http://h/" + filled});
    const std::string text = written();
    EXPECT_THAT(text, Not(HasSubstr("evil")));
    EXPECT_THAT(text, HasSubstr("TI:" + filled + "\n"));
    EXPECT_THAT(text, HasSubstr("DE:d\n"));
    EXPECT_THAT(text, HasSubstr("KE:" + std::string(1020, 'k') + "\n")) << "no half characters";
    start_again();
    read(text);
    EXPECT_THAT(children({"Music", "All Tracks"}), ElementsAre("(" + filled + ")"));
}

// What is compared after a round trip, one text an item.
std::vector<std::string> described_library() {
    StoreLock lock;
    std::vector<std::string> all;
    const MediaStore& places = store(lock);
    for (const MediaContainer* list : {places.all_tracks, places.all_pictures, places.all_videos}) {
        for (MediaObject& child : tree_children(lock, *list)) {
            const MediaItem& item = *item_of(lock, &child);
            std::string& out = all.emplace_back(class_text(item.object_class));
            for (const SharedText* text : {&item.title, &item.artist, &item.album, &item.genre, &item.date, &item.path,
                                           &item.duration, &item.description, &item.keywords})
                out += *text ? "|" + std::string{text->view()} : "|-";
            for (const std::int64_t number : std::initializer_list<std::int64_t>{
                     item.track, item.width, item.height, item.album_art, item.compilation, item.bitrate, item.size,
                     item.modified, item.last_played, item.play_count})
                out += "|" + std::to_string(number);
        }
    }
    std::ranges::sort(all);
    return all;
}

TEST_F(DbFile, GivesBackRandomItems) {
    std::mt19937 random{20261121};
    const auto number = [&](int low, int high) { return std::uniform_int_distribution<int>{low, high}(random); };
    const auto text = [&]() -> Text {
        static const std::vector<std::string> pieces{
            "<EOI>", "<SOI>",    "RE:/etc/hostname", "#", ":", "&amp;", " ", "a", "Zz",
            "\"",    "\xC3\xA9", "\xE2\x82\xAC",     "%s"};
        if (number(0, 3) == 0) return std::nullopt;
        std::string made;
        for (int i = number(0, 12); i > 0; --i) made += pieces[static_cast<std::size_t>(number(0, 12))];
        return made;
    };
    const auto figure = [&] { return number(0, 2) == 0 ? 0 : number(INT32_MIN, INT32_MAX); };
    const ObjectClass classes[] = {ObjectClass::music_track, ObjectClass::photo, ObjectClass::movie};
    for (int i = 0; i < 500; ++i) {
        const std::string path = "http://h/" + std::to_string(i) + "?" + text().value_or("");
        const ObjectClass media_class = classes[number(0, 2)];
        NewItem item{.media_class = media_class, .path = path};
        for (Text* field : {&item.title, &item.artist, &item.album, &item.genre, &item.date, &item.duration,
                            &item.description, &item.keywords})
            *field = text();
        for (std::int32_t* field : {&item.track, &item.width, &item.height, &item.album_art, &item.compilation,
                                    &item.bitrate, &item.modified, &item.last_played, &item.play_count})
            *field = figure();
        item.size = figure();
        db_add_item(std::move(item));
    }
    const auto before = described_library();
    ASSERT_EQ(before.size(), 500u);
    const std::string text_before = written();
    start_again();
    read(text_before);
    EXPECT_EQ(described_library(), before);
}

}  // namespace
