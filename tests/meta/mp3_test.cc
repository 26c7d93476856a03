// MP3 files: which tag gives which field, what the headers of frames say of the length, and the cover.
#include "meta/mp3.h"

#include <gtest/gtest.h>

#include "core/str.h"
#include "meta/asf_picture.h"
#include "meta/mpeg_frame.h"
#include "support/cover.h"
#include "support/mp3_builder.h"
#include "support/rows.h"
#include "support/scratch.h"

using namespace std::string_literals;

namespace {

const std::string kV1 =
    Id3v1Block{
        .title = "v1 title", .artist = "v1 artist", .album = "v1 album", .year = "1999", .track = 200, .genre = 17}
        .bytes();
const auto v2 = [](std::string_view id, std::string_view text) { return Id3Tag{3}.text(id, text).bytes(); };

TEST(Mp3, Id3v1FillsWhatId3v2LeftMissing) {
    const ScratchDirectory scratch;
    const Id3Tag whole = Id3Tag{3}.text("TIT2", "t").text("TPE1", "a").text("TALB", "b").text("TYER", "2004");
    for (const auto& [id3v2, id3v1, expected] : Rows<std::string, std::string, const char*>{
             {"", "", "-|-|-|-|-|0"},
             {"", kV1, "v1 title|v1 artist|v1 album|Rock|1999-01-01|-56"},
             {Id3Tag{whole}.text("TRCK", "3/12").text("TCON", "Pop").bytes(), kV1, "t|a|b|Pop|2004-01-01|3"},
             // Of empty texts the title alone is replaced.
             {Id3Tag{3}.text("TIT2", "").text("TPE1", "").text("TALB", "").bytes(), kV1,
              "v1 title|||Rock|1999-01-01|-56"},
             // Genres by number; one that there is not is none, and stays so.
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
         }) {
        const MediaFacts tags = mp3_read_tags(scratch.write("a.mp3", id3v2 + mpeg_frames(4) + id3v1));
        EXPECT_EQ(described(tags), expected);
        EXPECT_EQ(tags.bitrate, 128u);
    }
    const MediaFacts variable =
        mp3_read_tags(scratch.write("a.mp3", mpeg_frames(1).replace(36, 12, "Xing\0\0\0\1\0\2\x2B\x76"s)));
    EXPECT_EQ(variable.duration, "1:02:03.002");  // 142198 frames of 1152 samples at 44 kHz
    EXPECT_EQ(variable.bitrate, 0u);
}

// Bytes that this process has asked the system for so far.
std::int64_t bytes_read() {
    const std::string io = read_whole_file("/proc/self/io");
    return io.starts_with("rchar:") ? text_int64(io.substr(6)) : -1;
}

TEST(Mp3, ALargePictureIsSteppedOverWithoutBeingRead) {
    const ScratchDirectory scratch;
    const Id3Tag tag = Id3Tag{3}.text("TIT2", "Song").picture(std::string(150'000, 'p')).text("TPE1", "Band");
    const std::string path = scratch.write("a.mp3", tag.bytes() + mpeg_frames(100) + kV1);
    const std::int64_t before = bytes_read();
    if (before < 0) GTEST_SKIP() << "no I/O accounting in /proc";
    const MediaFacts tags = mp3_read_tags(path);
    EXPECT_LT(bytes_read() - before, 40'000);
    EXPECT_EQ(described(tags), "Song|Band|v1 album|Rock|1999-01-01|-56");
    EXPECT_EQ(tags.album_art, 35);
}

// A header, and where a Xing header stands behind it.
std::string block(const std::string& header, std::size_t xing_at = 0, std::uint32_t frames = 0) {
    std::string out = header + std::string(kMpegBlockBytes - header.size(), '\0');
    if (xing_at != 0) out.replace(xing_at, 12, "Xing"s + big_endian_bytes(0, 4) + big_endian_bytes(frames, 4));
    return out;
}

// Second byte: FB MPEG-1 III, FD MPEG-1 II, FF MPEG-1 I, F3 MPEG-2 III, F7 MPEG-2 I, E3 MPEG-2.5 III,
// EB reserved version, F9 MPEG-1 with the reserved layer. Third byte: bitrate index, then rate index and padding.
TEST(Mpeg, HeadersAreUnderstood) {
    for (const auto& [bytes, audio_bytes, kbps, milliseconds, vbr] : Rows<std::string, int, int, int, bool>{
             {block("\xFF\xFB\x90\x00"s), 128'000, 128, 8000, false},
             {block("\xFF\xFB\xE0\x00"s), 320'000, 320, 8000, false},
             {block("\xFF\xFD\x90\x00"s), 160'000, 160, 8000, false},
             {block("\xFF\xFF\x90\x00"s), 288'000, 288, 8000, false},
             {block("\xFF\xF3\x90\x00"s), 80'000, 80, 8000, false},
             {block("\xFF\xF7\xE0\x00"s), 256'000, 256, 8000, false},
             {block("\xFF\xE3\x10\x00"s), 8'000, 8, 8000, false},
             {block("\xFF\xF9\x10\x00"s), 32'000, 32, 8000, false},  // as layer 1
             {block("\xFF\xEB\x90\x00"s), 128'000, 0, 0, false},
             {block("\xFF\xFB\x00\x00"s), 128'000, 0, 0, false},  // of a free format
             {block("\xFF\xFB\xF0\x00"s), 128'000, 0, 0, false},
             {"\xFF\xFB\x90"s, 128'000, 0, 0, false},
             // The product wraps.
             {block("\xFF\xFB\x90\x00"s), 300'000'000, 128, -14'804'432, false},
             {block("\xFF\xFB\x90\x00"s, 36, 0xFFFFFFFF), 1, 128, -26, true},
             // A Xing header: 44,100 Hz count as 44, 11,025 as 11; it may stand from 4 to 123.
             {block("\xFF\xFB\x90\x00"s, 4, 1000), 1, 128, 26'181, true},
             {block("\xFF\xFB\x94\x00"s, 36, 1000), 1, 128, 24'000, true},
             {block("\xFF\xE3\x90\x00"s, 123, 11), 1, 80, 1152, true},
             {block("\xFF\xFB\x90\x00"s, 124, 1000), 128'000, 128, 8000, false},
             {block("\xFF\xFB\x90\x00"s, 36, 1000).substr(0, 46), 128'000, 128, 8000, false},
             // One with a reserved rate, without frames, without a bitrate.
             {block("\xFF\xFB\x9C\x00"s, 36, 1000), 128'000, 128, 8000, true},
             {block("\xFF\xFB\x90\x00"s, 36, 0), 128'000, 128, 8000, true},
             {block("\xFF\xFB\x00\x00"s, 36, 0), 128'000, 0, 0, true},
         }) {
        const MpegFrame frame = mpeg_parse_frame_header(as_bytes(bytes), audio_bytes);
        EXPECT_EQ(std::tuple(frame.kbps, frame.milliseconds, frame.vbr), std::tuple(kbps, milliseconds, vbr))
            << testing::PrintToString(bytes.substr(0, 4)) << " " << audio_bytes;
    }
}

TEST(Mpeg, SyncIsFoundAndTheSoundMeasuredFromThere) {
    for (const auto& [file, from, expected] : Rows<std::string, std::uint64_t, std::optional<std::uint64_t>>{
             {"\xFF\xDF\xFF\xFF"s, 0, 2},
             {"\xFF\xFB\xFF\xE0"s, 1, 2},
             {"xx\xFF"s, 0, {}},
             {std::string(199'998, 'x') + "\xFF\xFB", 0, 199'998},
             {std::string(199'999, 'x') + "\xFF\xFB", 0, {}},
             {std::string(200'001, 'x') + "\xFF\xFB", 200'000, {}},
         }) {
        FileWindow window{as_bytes(file)};
        EXPECT_EQ(mpeg_find_sync(window, from), expected) << file.size() << " from " << from;
    }
    // The first byte is left out: 12801 bytes of sound less one are 12800 * 8 / 128 ms. A header within the last bytes
    // counts, too.
    for (const auto& [file, milliseconds] : Rows<std::string, int>{
             {"junk" + mpeg_frames(31).substr(0, 12'801), 800},
             {mpeg_frames(1).substr(0, 129), 8},
             {std::string(200'000, '\xFF'), 0},
         }) {
        FileWindow window{as_bytes(file)};
        EXPECT_EQ(mpeg_read_first_frame(window, 0).milliseconds, milliseconds);
    }
}

TEST(Mp3, ItsCoverIsTheFirstJfifPicture) {
    for (const auto& [file, picture] : Rows<std::string, std::string>{
             {Id3Tag{3}.text("TIT2", "T").picture(kJpeg).text("TPE1", "A").bytes() + mpeg_frames(3), kJpegFound},
             {Id3Tag{2}.picture(kJpeg).bytes() + mpeg_frames(3), kJpegFound},
             {"", "none"},
             {Id3Tag{3}.picture("\x89PNG").bytes(), "none"},
             {Id3Tag{3}.picture("\xFF\xD8\xFF\xE1 EXIF").picture(kJpeg).bytes(), "none"},
             // A byte that ends a match does not begin one.
             {"PIC" + big_endian_bytes(30, 3) + "\xFF" + kJpeg, "none"},
             {"APIC", "none"},
             {"APIC" + big_endian_bytes(5, 4) + "\0\0\0\0"s + kJpeg, "none"},
         })
        EXPECT_EQ(found_picture(mp3_find_picture, file), picture) << file.substr(0, 40);
    // Wherever the letters stand, also across the limits of what is read at once.
    const std::string frame = "APIC" + big_endian_bytes(20, 4) + "\0\0ab"s + kJpeg;
    for (const std::size_t before : {1019U, 1022U, 16380U, 16381U, 16382U, 16383U, 16384U, 40000U})
        EXPECT_EQ(found_picture(mp3_find_picture, std::string(before, 'x') + frame), kJpegFound.substr(0, 29));
    // In files larger than anybody could read through.
    const ScratchDirectory scratch;
    for (const auto& [find, content] : Rows<PictureFinder, const char*>{
             {mp3_find_picture, "no letters"},
             {mp3_find_picture, "APIC\xFF\xFF\xFF\xFF"},
             {wma_find_picture,
              "\x7F\x7F\x7F\x7F\x7F\x7F\x7F\x7F\x7F\x7F\x7F\x7F\x7F\x7F\x7F\x7F\x7F\x7F\x7F\x7F\x7F\x7F\x7F"},
         }) {
        const std::string path = scratch.write("a", content);
        std::filesystem::resize_file(path, 400'000'000'000);
        const File file = file_open_regular(path);
        FileWindow window{file, 400'000'000'000};
        EXPECT_FALSE(find(window));
    }
}

}  // namespace
