// The search for the first frame, and the frame's header with the Xing header in it.
#include <cstddef>
#include <cstdint>
#include <span>

#include "meta/mpeg_frame.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes file = std::as_bytes(std::span{data, size});
    FileWindow window{file};
    const MpegFrame frame = mpeg_read_first_frame(window, 0);
    if (frame.kbps < 0 || frame.kbps > 448) __builtin_trap();
    // The first four bytes as the length that a file might have.
    const auto length = ByteCursor{file}.big_endian(4);
    if (length) mpeg_parse_frame_header(file.subspan(4), static_cast<std::int32_t>(*length));
    return 0;
}
