#include "meta/mpeg_frame.h"

#include <gtest/gtest.h>

#include "support/mp3_builder.h"

using namespace std::string_literals;

namespace {

std::string block(std::string_view header, std::size_t xing_at = 0, std::uint32_t frames = 0) {
    std::string out{header};
    out.resize(kMpegBlockBytes, '\0');
    if (xing_at != 0) out.replace(xing_at, 12, "Xing"s + big_endian_bytes(0, 4) + big_endian_bytes(frames, 4));
    return out;
}

// Second byte: FB MPEG-1 III, FD MPEG-1 II, FF MPEG-1 I, F3 MPEG-2 III, F5 MPEG-2 II, F7 MPEG-2 I, E3 MPEG-2.5 III,
// EB reserved version, F9 MPEG-1 with the reserved layer. Third byte: bitrate index, then rate index and padding.
TEST(Mpeg, HeadersAreUnderstood) {
    struct {
        std::string block;
        std::int32_t audio_bytes;
        MpegFrame expected;
    } const rows[] = {
        {block("\xFF\xFB\x90\x00"s), 128'000, {128, 8000, false}},
        {block("\xFF\xFD\x90\x00"s), 160'000, {160, 8000, false}},
        {block("\xFF\xFF\x90\x00"s), 288'000, {288, 8000, false}},
        {block("\xFF\xF3\x90\x00"s), 80'000, {80, 8000, false}},
        {block("\xFF\xF5\xE0\x00"s), 160'000, {160, 8000, false}},
        {block("\xFF\xF7\xE0\x00"s), 256'000, {256, 8000, false}},
        {block("\xFF\xE3\x10\x00"s), 8'000, {8, 8000, false}},
        {block("\xFF\xF9\x10\x00"s), 32'000, {32, 8000, false}},  // as layer 1
        {block("\xFF\xEB\x90\x00"s), 128'000, {0, 0, false}},
        {block("\xFF\xFB\x00\x00"s), 128'000, {0, 0, false}},  // of a free format
        {block("\xFF\xFB\xF0\x00"s), 128'000, {0, 0, false}},
        {"\xFF\xFB\x90"s, 128'000, {0, 0, false}},
        // The product wraps.
        {block("\xFF\xFB\x90\x00"s), 300'000'000, {128, -14'804'432, false}},
        {block("\xFF\xFB\x90\x00"s, 36, 0xFFFFFFFF), 1, {128, -26, true}},
        // A Xing header: 44,100 Hz count as 44, 11,025 as 11; it may stand from 4 to 123.
        {block("\xFF\xFB\x90\x00"s, 4, 1000), 1, {128, 26'181, true}},
        {block("\xFF\xFB\x94\x00"s, 36, 1000), 1, {128, 24'000, true}},
        {block("\xFF\xE3\x90\x00"s, 123, 11), 1, {80, 1152, true}},
        {block("\xFF\xFB\x90\x00"s, 124, 1000), 128'000, {128, 8000, false}},
        {block("\xFF\xFB\x90\x00"s, 36, 1000).substr(0, 46), 128'000, {128, 8000, false}},
        // One with a reserved rate, without frames, without a bitrate.
        {block("\xFF\xFB\x9C\x00"s, 36, 1000), 128'000, {128, 8000, true}},
        {block("\xFF\xFB\x90\x00"s, 36, 0), 128'000, {128, 8000, true}},
        {block("\xFF\xFB\x00\x00"s, 36, 0), 128'000, {0, 0, true}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.block.substr(0, 4)) + " " + std::to_string(row.audio_bytes));
        const MpegFrame frame = mpeg_parse_frame_header(as_bytes(row.block), row.audio_bytes);
        EXPECT_EQ(frame.kbps, row.expected.kbps);
        EXPECT_EQ(frame.milliseconds, row.expected.milliseconds);
        EXPECT_EQ(frame.vbr, row.expected.vbr);
    }
}

TEST(Mpeg, SyncIsFound) {
    struct {
        std::string file;
        std::uint64_t from;
        std::optional<std::uint64_t> expected;
    } const rows[] = {
        {"\xFF\xFB"s, 0, 0},
        {"\xFF\xDF\xFF\xFF"s, 0, 2},
        {"\xFF\xFB\xFF\xE0"s, 1, 2},
        {"xx\xFF"s, 0, std::nullopt},
        {std::string(199'998, 'x') + "\xFF\xFB", 0, 199'998},
        {std::string(199'999, 'x') + "\xFF\xFB", 0, std::nullopt},
        {std::string(200'001, 'x') + "\xFF\xFB", 200'000, std::nullopt},
    };
    for (const auto& row : rows) {
        FileWindow window{as_bytes(row.file)};
        EXPECT_EQ(mpeg_find_sync(window, row.from), row.expected) << row.file.size() << " from " << row.from;
    }
}

TEST(Mpeg, TheLengthOfTheSoundLeavesTheFirstByteOut) {
    // 12801 bytes of sound less one are 12800 * 8 / 128 ms; a header within the last bytes counts, too.
    for (const auto& [file, milliseconds] :
         {std::pair{"junk" + mpeg_frames(31).substr(0, 12'801), 800}, std::pair{mpeg_frames(1).substr(0, 129), 8},
          std::pair{std::string(200'000, '\xFF'), 0}}) {
        FileWindow window{as_bytes(file)};
        EXPECT_EQ(mpeg_read_first_frame(window, 0).milliseconds, milliseconds);
    }
}

}  // namespace
