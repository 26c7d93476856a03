// GIF blocks, colour tables and LZW codes.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "meta/gif.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    GifPicture picture;
    if (!gif_decode(std::as_bytes(std::span{data, size}), picture)) {
        if (picture.width != 10 || picture.height != 10) __builtin_trap();
        return 0;
    }
    if (picture.mask.size() * 3 != picture.rgb.bytes() || picture.mask.empty()) __builtin_trap();
    if (std::ranges::any_of(picture.mask, [](std::uint8_t value) { return value > 1; })) __builtin_trap();
    return 0;
}
