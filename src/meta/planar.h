// Raw picture forms, for clients without a JPEG decoder.
#pragma once

#include <string>

#include "meta/scale.h"

// Planar YUV 4:2:0 with the weights of ITU-R BT.601: the luma plane, then the blue and the red difference planes, each
// of half the width and height, rounded down. Returns width * height * 3 / 2 bytes.
std::string yuv420_encode(const RgbPicture& picture);

// 16 bits a pixel, little-endian, from the high bit down 5 red, 6 green, 5 blue. Lines from the top down, no header.
std::string tini_encode(const RgbPicture& picture);
