// GIF pictures (GIF87a and GIF89a): the first image of a file, as wide and high as its descriptor says.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/bytes.h"
#include "meta/scale.h"

struct GifPicture {
    RgbPicture rgb;
    std::vector<std::uint8_t> mask;  // a byte a pixel: 1 opaque, 0 transparent
    int width = 0, height = 0;       // 10 x 10 for what is no GIF
};

// False for what is no GIF, has no image or one above 16 megapixels. An image whose data ends early or turns bad is
// transparent from there on.
bool gif_decode(Bytes file, GifPicture& picture);
// Reads the whole file, at most 64 MiB.
bool gif_load(const std::string& path, GifPicture& picture);
