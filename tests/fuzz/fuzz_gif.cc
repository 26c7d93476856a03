// GIF blocks, colour tables and LZW codes.
#include <algorithm>

#include "meta/gif.h"
#include "target.h"

void fuzz(Bytes input) {
    GifPicture picture;
    if (!gif_decode(input, picture)) return require(picture.width == 10 && picture.height == 10);
    require(picture.mask.size() * 3 == picture.rgb.bytes() && !picture.mask.empty());
    require(std::ranges::none_of(picture.mask, [](std::uint8_t value) { return value > 1; }));
}
