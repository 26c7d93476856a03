// The size of a JPEG file, read from its frame header (ITU-T T.81, annex B) without decoding it.
#pragma once

#include <cstdint>

#include "meta/file_window.h"

struct JpegSize {
    std::int32_t width = 0, height = 0;  // pixels
};
// The size in the first frame header; 0 x 0 if there is none, or none within the first 64 MiB.
JpegSize jpeg_find_size(FileWindow& file);
