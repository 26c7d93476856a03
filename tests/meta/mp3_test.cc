#include "meta/mp3.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "core/str.h"
#include "support/mp3_builder.h"
#include "support/scratch.h"

using namespace std::string_literals;

namespace {

struct MergeCase {
    const char* name;
    std::string id3v2{}, id3v1{};
    Text title{}, artist{}, album{}, genre{}, date{};
    std::int32_t track = 0;
};
class Mp3Merge : public testing::TestWithParam<MergeCase> {};

TEST_P(Mp3Merge, FillsWhatId3v2LeftMissing) {
    const MergeCase& c = GetParam();
    ScratchDirectory scratch;
    const Mp3Tags tags = mp3_read_tags(scratch.write("a.mp3", c.id3v2 + mpeg_frames(4) + c.id3v1));
    EXPECT_EQ(tags.title, c.title);
    EXPECT_EQ(tags.artist, c.artist);
    EXPECT_EQ(tags.album, c.album);
    EXPECT_EQ(tags.genre, c.genre);
    EXPECT_EQ(tags.date, c.date);
    EXPECT_EQ(tags.track, c.track);
    EXPECT_EQ(tags.bitrate, 128u);
}

const std::string kV1 =
    Id3v1Block{
        .title = "v1 title", .artist = "v1 artist", .album = "v1 album", .year = "1999", .track = 200, .genre = 17}
        .bytes();
std::string v2(std::string_view id, std::string_view text) {
    return Id3Tag{3}.text(id, text).bytes();
}

INSTANTIATE_TEST_SUITE_P(
    Mp3, Mp3Merge,
    testing::ValuesIn<MergeCase>({
        {.name = "no_tag", .id3v2 = "", .id3v1 = ""},
        {"id3v1_alone", "", kV1, "v1 title", "v1 artist", "v1 album", "Rock", "1999-01-01", -56},
        {"id3v2_wins",
         Id3Tag{3}
             .text("TIT2", "t")
             .text("TPE1", "a")
             .text("TALB", "b")
             .text("TYER", "2004")
             .text("TRCK", "3/12")
             .text("TCON", "Pop")
             .bytes(),
         kV1, "t", "a", "b", "Pop", "2004-01-01", 3},
        {"only_an_empty_title_is_replaced", Id3Tag{3}.text("TIT2", "").text("TPE1", "").text("TALB", "").bytes(), kV1,
         "v1 title", "", "", "Rock", "1999-01-01", -56},
        {"genre_number", v2("TCON", "(17)"), "", {}, {}, {}, "Rock", {}},
        {"genre_number_and_text", v2("TCON", "(0)Ragtime"), "", {}, {}, {}, "Blues", {}},
        {"genre_remix_is_0", v2("TCON", "(RX)"), "", {}, {}, {}, "Blues", {}},
        {"genre_beyond_is_none_and_stays_so",
         v2("TCON", "(148)"),
         kV1,
         "v1 title",
         "v1 artist",
         "v1 album",
         {},
         "1999-01-01",
         -56},
        {.name = "genre_negative", .id3v2 = v2("TCON", "(-1)"), .id3v1 = ""},
        {"genre_plain_number_is_text", v2("TCON", "17"), "", {}, {}, {}, "17", {}},
        {.name = "id3v1_genre_beyond",
         .id3v2 = "",
         .id3v1 = Id3v1Block{.genre = 148}.bytes(),
         .title = "",
         .artist = "",
         .album = ""},
        {.name = "id3v1_year_too_old",
         .id3v2 = "",
         .id3v1 = Id3v1Block{.year = "1900"}.bytes(),
         .title = "",
         .artist = "",
         .album = ""},
        {"id3v1_year_runs_into_the_comment",
         "",
         Id3v1Block{.year = "2001", .comment = "9"}.bytes(),
         "",
         "",
         "",
         {},
         "20019-01-01"},
        {"year_of_words", v2("TYER", "soon"), kV1, "v1 title", "v1 artist", "v1 album", "Rock", "0000-01-01", -56},
        {"year_too_long", v2("TYER", "123456789"), "", {}, {}, {}, {}, "123456789-0"},
        {.name = "track_too_long", .id3v2 = v2("TRCK", "99999999999"), .id3v1 = "", .track = 1215752191},
    }),
    [](const auto& one) { return std::string{one.param.name}; });

TEST(Mp3, AVariableBitrateFileHasADurationAndNoBitrate) {
    ScratchDirectory scratch;
    const Mp3Tags tags = mp3_read_tags(scratch.write("a.mp3", xing_frame(142'198) + mpeg_frames(2)));
    EXPECT_EQ(tags.duration, "1:02:03.002");  // 142198 frames of 1152 samples at 44 kHz
    EXPECT_EQ(tags.bitrate, 0u);
}

TEST(Mp3, SizeAndTimeComeFromTheStatus) {
    ScratchDirectory scratch;
    const std::string path = scratch.write("a.mp3", mpeg_frames(3));
    const timespec times[2] = {{1'000'000'000, 0}, {1'000'000'000, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    const Mp3Tags tags = mp3_read_tags(path);
    EXPECT_EQ(tags.size, 1251u);
    EXPECT_EQ(tags.modified, 1'000'000'000);
    EXPECT_EQ(tags.duration, "0:00:00.078");
    EXPECT_EQ(mp3_read_tags(scratch / "missing.mp3").size, 0u);
}

TEST(Mp3, AnythingButARegularFileIsNeverOpened) {
    ScratchDirectory scratch;
    const std::string path = scratch / "pipe.mp3";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_FALSE(mp3_read_tags(path).title);  // opening it would wait for a writer
    EXPECT_FALSE(mp3_read_tags("/dev/zero").duration);
}

// Bytes that this process has asked the system for so far.
std::int64_t bytes_read() {
    std::ifstream io{"/proc/self/io"};
    std::string line;
    while (std::getline(io, line))
        if (line.starts_with("rchar:")) return text_int64(line.substr(6));
    return -1;
}

TEST(Mp3, ALargePictureIsSteppedOverWithoutBeingRead) {
    ScratchDirectory scratch;
    const std::string tag =
        Id3Tag{3}.text("TIT2", "Song").picture(std::string(150'000, 'p')).text("TPE1", "Band").bytes();
    const std::string path = scratch.write("a.mp3", tag + mpeg_frames(100) + kV1);
    const std::int64_t before = bytes_read();
    if (before < 0) GTEST_SKIP() << "no I/O accounting in /proc";
    const Mp3Tags tags = mp3_read_tags(path);
    const std::int64_t after = bytes_read();
    EXPECT_EQ(tags.artist, "Band");
    EXPECT_EQ(tags.picture_offset, 35u);
    EXPECT_EQ(tags.album, "v1 album");
    EXPECT_LT(after - before, 40'000);
}

TEST(Mp3, AFileCutAnywhereIsReadAsFarAsItGoes) {
    ScratchDirectory scratch;
    const std::string whole = v2("TIT2", "Song") + xing_frame(100) + mpeg_frames(1) + kV1;
    const std::string path = scratch.write("a.mp3", whole);
    for (std::size_t length = whole.size(); length > 0; --length) {
        ASSERT_EQ(truncate(path.c_str(), static_cast<off_t>(length)), 0);
        const Mp3Tags tags = mp3_read_tags(path);
        EXPECT_EQ(tags.size, length);
        EXPECT_EQ(tags.title.has_value(), length >= 25) << length;
        EXPECT_EQ(tags.artist.has_value(), length == whole.size()) << length;
    }
}

}  // namespace
