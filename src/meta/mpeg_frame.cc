#include "meta/mpeg_frame.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include "core/bytes.h"
#include "meta/file_window.h"

namespace {

constexpr std::uint64_t kSyncLimit = 200'000;
constexpr std::size_t kXingFirst = 4, kXingLast = 123;  // where a Xing header may begin within the block
constexpr std::size_t kXingFramesAt = 8;
constexpr std::uint32_t kSamplesPerFrame = 1152;

enum Version : std::size_t { kMpeg1, kMpeg2, kMpeg25, kReserved };
constexpr Version kVersionOfBits[] = {kMpeg25, kReserved, kMpeg2, kMpeg1};
// Row of the bitrate tables by the two layer bits; the reserved 0 counts as Layer I.
constexpr std::size_t kLayerOfBits[] = {0, 2, 1, 0};

// kbit/s by layer and 4-bit index (ISO/IEC 11172-3, 2.4.2.3; ISO/IEC 13818-3, 2.4.2.3). 0 is free format, 15 is
// forbidden.
constexpr std::int32_t kMpeg1Bitrates[3][16] = {
    {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448, 0},
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384, 0},
    {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 0},
};
constexpr std::int32_t kMpeg2Bitrates[3][16] = {
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256, 0},
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, 0},
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, 0},
};
// Hz by version and 2-bit index; 3 is reserved.
constexpr std::int32_t kSamplingRates[3][4] = {
    {44100, 48000, 32000, 0},
    {22050, 24000, 16000, 0},
    {11025, 12000, 8000, 0},
};

// The products wrap at 32 bits and are kept as they come out: a constant-bitrate file of more than 256 MiB has no play
// time or a wrong one.
std::int32_t wrapped_product(std::uint32_t a, std::uint32_t b) {
    return static_cast<std::int32_t>(a * b);
}

std::int32_t constant_rate_ms(std::int32_t audio_bytes, std::int32_t kbps) {
    return wrapped_product(static_cast<std::uint32_t>(audio_bytes), 8) / kbps;
}

// The frame count of a Xing header; nullopt if there is none. The flags word is ignored, even if it says that there is
// no count.
std::optional<std::uint32_t> xing_frames(Bytes block) {
    const std::string_view searched = as_text(block).substr(0, kXingLast + 4);
    const std::size_t at = searched.find("Xing", kXingFirst);
    if (at == std::string_view::npos) return std::nullopt;
    ByteCursor cursor{block};
    if (!cursor.skip(at + kXingFramesAt)) return std::nullopt;
    return cursor.big_endian(4);
}

}  // namespace

MpegFrame mpeg_parse_frame_header(Bytes block, std::int32_t audio_bytes) {
    MpegFrame frame;
    const auto header = ByteCursor{block}.big_endian(4);
    if (!header) return frame;
    const Version version = kVersionOfBits[*header >> 19 & 3u];
    if (version == kReserved) return frame;
    const auto& bitrates = version == kMpeg1 ? kMpeg1Bitrates : kMpeg2Bitrates;
    frame.kbps = bitrates[kLayerOfBits[*header >> 17 & 3u]][*header >> 12 & 15u];
    const std::int32_t sampling_rate = kSamplingRates[version][*header >> 10 & 3u];

    if (frame.kbps != 0) frame.milliseconds = constant_rate_ms(audio_bytes, frame.kbps);
    if (const auto frames = xing_frames(block)) {
        frame.vbr = true;
        // Kept on purpose: 1152 samples whatever the layer, and the rate is cut to whole kHz first (44100 counts as
        // 44).
        const std::int32_t khz = sampling_rate / 1000;
        if (khz != 0) frame.milliseconds = wrapped_product(*frames, kSamplesPerFrame) / khz;
        if (frame.milliseconds == 0 && frame.kbps != 0) frame.milliseconds = constant_rate_ms(audio_bytes, frame.kbps);
    }
    return frame;
}

std::optional<std::uint64_t> mpeg_find_sync(FileWindow& file, std::uint64_t from) {
    bool after_ff = false;
    for (std::uint64_t offset = from; offset < kSyncLimit;) {
        const Bytes loaded = file.from(offset);
        if (loaded.empty()) return std::nullopt;
        const Bytes searched =
            loaded.first(static_cast<std::size_t>(std::min<std::uint64_t>(loaded.size(), kSyncLimit - offset)));
        for (const std::byte b : searched) {
            if (after_ff && b >= std::byte{0xE0}) return offset - 1;
            after_ff = b == std::byte{0xFF};
            ++offset;
        }
    }
    return std::nullopt;
}

MpegFrame mpeg_read_first_frame(FileWindow& file, std::uint64_t from) {
    const auto sync = mpeg_find_sync(file, from);
    if (!sync) return {};
    // The low 32 bits of the size: larger files have a wrapped length here, as everywhere in this arithmetic.
    const std::uint32_t audio_bytes = static_cast<std::uint32_t>(file.size()) - static_cast<std::uint32_t>(*sync + 1);
    return mpeg_parse_frame_header(file.at(*sync, kMpegBlockBytes), static_cast<std::int32_t>(audio_bytes));
}
