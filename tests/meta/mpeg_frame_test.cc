#include "meta/mpeg_frame.h"

#include <gtest/gtest.h>

#include "support/mp3_builder.h"

using namespace std::string_literals;

namespace {

struct HeaderCase {
    const char* name;
    std::string block;
    std::int32_t audio_bytes;
    MpegFrame expected;
};
class MpegHeader : public testing::TestWithParam<HeaderCase> {};

TEST_P(MpegHeader, IsUnderstood) {
    const MpegFrame frame = mpeg_parse_frame_header(as_bytes(GetParam().block), GetParam().audio_bytes);
    EXPECT_EQ(frame.kbps, GetParam().expected.kbps);
    EXPECT_EQ(frame.milliseconds, GetParam().expected.milliseconds);
    EXPECT_EQ(frame.vbr, GetParam().expected.vbr);
}

std::string block(std::string_view header, std::size_t xing_at = 0, std::uint32_t frames = 0) {
    std::string out{header};
    out.resize(kMpegBlockBytes, '\0');
    if (xing_at != 0) out.replace(xing_at, 12, "Xing"s + big_endian_bytes(0, 4) + big_endian_bytes(frames, 4));
    return out;
}

// Second byte: FB MPEG-1 III, FD MPEG-1 II, FF MPEG-1 I, F3 MPEG-2 III, F5 MPEG-2 II, F7 MPEG-2 I, E3 MPEG-2.5 III,
// EB reserved version, F9 MPEG-1 with the reserved layer. Third byte: bitrate index, then rate index and padding.
INSTANTIATE_TEST_SUITE_P(
    Mpeg, MpegHeader,
    testing::ValuesIn<HeaderCase>({
        {"mpeg1_layer3", block("\xFF\xFB\x90\x00"s), 128'000, {128, 8000, false}},
        {"mpeg1_layer2", block("\xFF\xFD\x90\x00"s), 160'000, {160, 8000, false}},
        {"mpeg1_layer1", block("\xFF\xFF\x90\x00"s), 288'000, {288, 8000, false}},
        {"mpeg2_layer3", block("\xFF\xF3\x90\x00"s), 80'000, {80, 8000, false}},
        {"mpeg2_layer2", block("\xFF\xF5\xE0\x00"s), 160'000, {160, 8000, false}},
        {"mpeg2_layer1", block("\xFF\xF7\xE0\x00"s), 256'000, {256, 8000, false}},
        {"mpeg25_layer3", block("\xFF\xE3\x10\x00"s), 8'000, {8, 8000, false}},
        {"reserved_layer_is_layer1", block("\xFF\xF9\x10\x00"s), 32'000, {32, 8000, false}},
        {"reserved_version", block("\xFF\xEB\x90\x00"s), 128'000, {0, 0, false}},
        {"free_format", block("\xFF\xFB\x00\x00"s), 128'000, {0, 0, false}},
        {"forbidden_bitrate", block("\xFF\xFB\xF0\x00"s), 128'000, {0, 0, false}},
        {"product_wraps", block("\xFF\xFB\x90\x00"s), 300'000'000, {128, -14'804'432, false}},
        {"negative_length", block("\xFF\xFB\x90\x00"s), -128, {128, -8, false}},
        {"xing_44100_counts_as_44", block("\xFF\xFB\x90\x00"s, 36, 1000), 1, {128, 26'181, true}},
        {"xing_48000", block("\xFF\xFB\x94\x00"s, 36, 1000), 1, {128, 24'000, true}},
        {"xing_11025_counts_as_11", block("\xFF\xE3\x90\x00"s, 21, 11), 1, {80, 1152, true}},
        {"xing_rate_reserved", block("\xFF\xFB\x9C\x00"s, 36, 1000), 128'000, {128, 8000, true}},
        {"xing_without_frames", block("\xFF\xFB\x90\x00"s, 36, 0), 128'000, {128, 8000, true}},
        {"xing_without_bitrate", block("\xFF\xFB\x00\x00"s, 36, 0), 128'000, {0, 0, true}},
        {"xing_product_wraps", block("\xFF\xFB\x90\x00"s, 36, 0xFFFFFFFF), 1, {128, -26, true}},
        {"xing_first_place", block("\xFF\xFB\x90\x00"s, 4, 1000), 1, {128, 26'181, true}},
        {"xing_last_place", block("\xFF\xFB\x90\x00"s, 123, 1000), 1, {128, 26'181, true}},
        {"xing_too_far", block("\xFF\xFB\x90\x00"s, 124, 1000), 128'000, {128, 8000, false}},
        {"xing_cut", block("\xFF\xFB\x90\x00"s, 36, 1000).substr(0, 46), 128'000, {128, 8000, false}},
        {"three_bytes", "\xFF\xFB\x90"s, 128'000, {0, 0, false}},
    }),
    [](const auto& one) { return std::string{one.param.name}; });

struct SyncCase {
    const char* name;
    std::string file;
    std::uint64_t from;
    std::optional<std::uint64_t> expected;
};
class MpegSync : public testing::TestWithParam<SyncCase> {};

TEST_P(MpegSync, IsFound) {
    FileWindow window{as_bytes(GetParam().file)};
    EXPECT_EQ(mpeg_find_sync(window, GetParam().from), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Mpeg, MpegSync,
                         testing::ValuesIn<SyncCase>({
                             {"at_the_start", "\xFF\xFB"s, 0, 0},
                             {"behind_ff", "\xFF\xDF\xFF\xFF"s, 0, 2},
                             {"not_before_from", "\xFF\xFB\xFF\xE0"s, 1, 2},
                             {"last_byte_alone", "xx\xFF"s, 0, std::nullopt},
                             {"last_place", std::string(199'998, 'x') + "\xFF\xFB", 0, 199'998},
                             {"beyond_the_limit", std::string(199'999, 'x') + "\xFF\xFB", 0, std::nullopt},
                             {"from_beyond_the_limit", std::string(200'001, 'x') + "\xFF\xFB", 200'000, std::nullopt},
                             {"empty", "", 0, std::nullopt},
                         }),
                         [](const auto& one) { return std::string{one.param.name}; });

TEST(Mpeg, TheLengthOfTheSoundLeavesTheFirstByteOut) {
    // 12801 bytes of sound less one are 12800 * 8 / 128 ms.
    const std::string file = "junk"s + mpeg_frames(31).substr(0, 12'801);
    FileWindow window{as_bytes(file)};
    EXPECT_EQ(mpeg_read_first_frame(window, 0).milliseconds, 800);
}

TEST(Mpeg, AHeaderWithinTheLastBytesOfAFileIsUnderstood) {
    const std::string file = mpeg_frames(1).substr(0, 129);
    FileWindow window{as_bytes(file)};
    EXPECT_EQ(mpeg_read_first_frame(window, 0).milliseconds, 8);
}

TEST(Mpeg, NothingButOnesIsNoSound) {
    const std::string file(200'000, '\xFF');
    FileWindow window{as_bytes(file)};
    const MpegFrame frame = mpeg_read_first_frame(window, 0);
    EXPECT_EQ(frame.kbps, 0);
    EXPECT_EQ(frame.milliseconds, 0);
}

}  // namespace
