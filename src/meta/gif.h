// GIF files (GIF87a and GIF89a): decodes the first image, in the size that its own descriptor says.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/bytes.h"
#include "meta/scale.h"

struct GifPicture {
    RgbPicture rgb;
    std::vector<std::uint8_t> mask;  // a byte a pixel: 1 opaque, 0 transparent
    int width = 0, height = 0;       // 10 x 10 if the file could not be read
};

// False if the file is not a GIF, has no image, or one of more than 16 megapixels. Where the image data is cut off or
// bad, the rest of the picture is transparent.
bool gif_decode(Bytes file, GifPicture& picture);
// Reads the whole file into memory; false, too, if it cannot be opened or has more than 64 MiB.
bool gif_load(const std::string& path, GifPicture& picture);
