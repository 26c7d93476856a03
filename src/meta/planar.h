// Picture forms that clients without a JPEG decoder take.
#pragma once

#include <string>

#include "meta/scale.h"

// Planar YUV 4:2:0 (weights of ITU-R BT.601 in 16-bit fixed point): the luma plane, then blue and red difference at
// half the width and height, each rounded down. width * height * 3 / 2 bytes.
std::string yuv420_encode(const RgbPicture& picture);

// 16 bits a pixel, 5 red, 6 green, 5 blue from the high bit down, little-endian, lines from the top down, no header.
std::string tini_encode(const RgbPicture& picture);
