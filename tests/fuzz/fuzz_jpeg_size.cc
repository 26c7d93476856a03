// The search for a frame marker in anything.
#include <cstddef>
#include <cstdint>
#include <span>

#include "meta/exif.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FileWindow window{std::as_bytes(std::span{data, size})};
    const JpegSize found = jpeg_find_size(window);
    if (found.width < 0 || found.width > 65535 || found.height < 0 || found.height > 65535) __builtin_trap();
    return 0;
}
