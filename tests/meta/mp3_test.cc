#include "meta/mp3.h"

#include <gtest/gtest.h>

#include "core/str.h"
#include "support/mp3_builder.h"
#include "support/scratch.h"

using namespace std::string_literals;

namespace {

const std::string kV1 =
    Id3v1Block{
        .title = "v1 title", .artist = "v1 artist", .album = "v1 album", .year = "1999", .track = 200, .genre = 17}
        .bytes();
std::string v2(std::string_view id, std::string_view text) {
    return Id3Tag{3}.text(id, text).bytes();
}

// "title|artist|album|genre|date|track"; a missing text is a "-".
std::string described(const MediaFacts& tags) {
    std::string out;
    for (const Text* text : {&tags.title, &tags.artist, &tags.album, &tags.genre, &tags.date})
        out += text->value_or("-") + "|";
    return out + std::to_string(tags.track);
}

TEST(Mp3, Id3v1FillsWhatId3v2LeftMissing) {
    ScratchDirectory scratch;
    const Id3Tag whole = Id3Tag{3}.text("TIT2", "t").text("TPE1", "a").text("TALB", "b").text("TYER", "2004");
    struct {
        std::string id3v2, id3v1;
        const char* expected;
    } const rows[] = {
        {"", "", "-|-|-|-|-|0"},
        {"", kV1, "v1 title|v1 artist|v1 album|Rock|1999-01-01|-56"},
        {Id3Tag{whole}.text("TRCK", "3/12").text("TCON", "Pop").bytes(), kV1, "t|a|b|Pop|2004-01-01|3"},
        // Of empty texts the title alone is replaced.
        {Id3Tag{3}.text("TIT2", "").text("TPE1", "").text("TALB", "").bytes(), kV1, "v1 title|||Rock|1999-01-01|-56"},
        // Genres by number; one that there is not is none, and stays so.
        {v2("TCON", "(0)Ragtime"), "", "-|-|-|Blues|-|0"},
        {v2("TCON", "(RX)"), "", "-|-|-|Blues|-|0"},
        {v2("TCON", "(-1)"), "", "-|-|-|-|-|0"},
        {v2("TCON", "17"), "", "-|-|-|17|-|0"},
        {v2("TCON", "(148)"), kV1, "v1 title|v1 artist|v1 album|-|1999-01-01|-56"},
        {"", Id3v1Block{.year = "1900", .genre = 148}.bytes(), "|||-|-|0"},
        // Years: digits run on into the comment, words are 0, the date is cut.
        {"", Id3v1Block{.year = "2001", .comment = "9"}.bytes(), "|||-|20019-01-01|0"},
        {v2("TYER", "soon"), kV1, "v1 title|v1 artist|v1 album|Rock|0000-01-01|-56"},
        {v2("TYER", "123456789"), "", "-|-|-|-|123456789-0|0"},
        {v2("TRCK", "99999999999"), "", "-|-|-|-|-|1215752191"},
    };
    for (const auto& row : rows) {
        const MediaFacts tags = mp3_read_tags(scratch.write("a.mp3", row.id3v2 + mpeg_frames(4) + row.id3v1));
        EXPECT_EQ(described(tags), row.expected);
        EXPECT_EQ(tags.bitrate, 128u);
    }
}

TEST(Mp3, AVariableBitrateFileHasADurationAndNoBitrate) {
    ScratchDirectory scratch;
    const MediaFacts tags = mp3_read_tags(scratch.write("a.mp3", xing_frame(142'198) + mpeg_frames(2)));
    EXPECT_EQ(tags.duration, "1:02:03.002");  // 142198 frames of 1152 samples at 44 kHz
    EXPECT_EQ(tags.bitrate, 0u);
}

// Bytes that this process has asked the system for so far.
std::int64_t bytes_read() {
    const std::string io = read_whole_file("/proc/self/io");
    return io.starts_with("rchar:") ? text_int64(io.substr(6)) : -1;
}

TEST(Mp3, ALargePictureIsSteppedOverWithoutBeingRead) {
    ScratchDirectory scratch;
    const std::string tag =
        Id3Tag{3}.text("TIT2", "Song").picture(std::string(150'000, 'p')).text("TPE1", "Band").bytes();
    const std::string path = scratch.write("a.mp3", tag + mpeg_frames(100) + kV1);
    const std::int64_t before = bytes_read();
    if (before < 0) GTEST_SKIP() << "no I/O accounting in /proc";
    const MediaFacts tags = mp3_read_tags(path);
    const std::int64_t after = bytes_read();
    EXPECT_EQ(described(tags), "Song|Band|v1 album|Rock|1999-01-01|-56");
    EXPECT_EQ(tags.album_art, 35);
    EXPECT_LT(after - before, 40'000);
}

}  // namespace
