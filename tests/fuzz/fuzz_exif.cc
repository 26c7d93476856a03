// The EXIF block of anything that claims to be a JPEG file.
#include <cstddef>
#include <cstdint>
#include <span>

#include "meta/exif.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FileWindow window{std::as_bytes(std::span{data, size})};
    PictureInfo info;
    exif_read_block(window, info);
    if (info.width < 0 || info.height < 0) __builtin_trap();
    for (const Text* text : {&info.description, &info.date, &info.original_date})
        if (*text && ((*text)->size() > 1024 || (*text)->find('\0') != std::string::npos)) __builtin_trap();
    return 0;
}
