// What a JPEG file says about itself: its size from the frame marker (ITU-T T.81, annex B), date and description from
// the EXIF block (JEITA CP-3451, on TIFF 6.0). Nothing is decoded and nothing reported: what cannot be read stays
// missing.
#pragma once

#include <cstdint>
#include <string>

#include "core/bytes.h"
#include "core/str.h"
#include "meta/file_window.h"

struct PictureInfo {
    std::int32_t width = 0, height = 0;  // pixels; 0: unknown
    std::uint8_t orientation = 0;
    std::uint32_t x_resolution = 0, y_resolution = 0;  // the value fields as they are: offsets of the fractions
    std::int64_t size = 0;                             // of the file, bytes
    std::int32_t modified = 0;                         // seconds since the epoch
    Text description;
    Text
        date;  // "2005-07-14": of the date that the file was changed, as the camera wrote it, or of the file's own time
    Text original_date;  // as it stands in the block
};

// A file without a status has nothing, one that cannot be opened its size, time and date.
PictureInfo exif_read_info(const std::string& path);

struct JpegSize {
    std::int32_t width = 0, height = 0;
};
// Of the first frame; 0 x 0 when there is none.
JpegSize jpeg_find_size(FileWindow& file);

// Fills from the EXIF block at the head of the file; date is left as it stands there ("2005:07:14 10:00:00"). Sizes
// only where the record has none yet, of each tag the first value only.
void exif_read_block(FileWindow& file, PictureInfo& info);
