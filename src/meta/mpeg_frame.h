// The first MPEG audio frame of a file (ISO/IEC 11172-3 and 13818-3) and the Xing header that encoders put into it:
// play time and bitrate without decoding anything.
#pragma once

#include <cstdint>
#include <optional>

#include "core/bytes.h"
#include "meta/file_window.h"

constexpr std::size_t kMpegBlockBytes = 256;  // how much of a frame is looked at

struct MpegFrame {
    std::int32_t kbps = 0;          // 0: free format or no valid header
    std::int32_t milliseconds = 0;  // play time of the file; 0 or less: unknown
    bool vbr = false;               // a Xing header was found
};
// Parses the block that begins at a frame sync. audio_bytes is the length of the sound in the file without the first
// byte of the block.
MpegFrame mpeg_parse_frame_header(Bytes block, std::int32_t audio_bytes);

// Offset of the first frame sync (0xFF and a byte of at least 0xE0) at or after from; nullopt if there is none in
// the first 200,000 bytes of the file.
std::optional<std::uint64_t> mpeg_find_sync(FileWindow& file, std::uint64_t from);

// Finds and parses the first frame at or after from.
MpegFrame mpeg_read_first_frame(FileWindow& file, std::uint64_t from);
