// What a JPEG file says about itself: its size from the frame marker (ITU-T T.81, annex B), date and description from
// the EXIF block (JEITA CP-3451, on TIFF 6.0). Nothing is decoded and nothing reported. What cannot be read stays
// missing.
#pragma once

#include <cstdint>
#include <string>

#include "core/bytes.h"
#include "core/str.h"
#include "meta/file_window.h"
#include "meta/media_facts.h"

// The date is that of the last change as the camera wrote it, or else the date of the file's own time.
struct PictureInfo : MediaFacts {
    std::uint8_t orientation = 0;
    std::uint32_t x_resolution = 0, y_resolution = 0;  // the value fields as they are: offsets of the fractions
    Text original_date;                                // as it stands in the block
};

// A file without a status has nothing, one that cannot be opened its size, time and date. Kept on purpose: an empty
// file has no date.
PictureInfo exif_read_info(const std::string& path);
// What of that an item shows.
MediaFacts picture_read_facts(const std::string& path);

struct JpegSize {
    std::int32_t width = 0, height = 0;
};
// Of the first frame; 0 x 0 when there is none.
JpegSize jpeg_find_size(FileWindow& file);

// Fills the record from the EXIF block at the head of the file. The date is left as it stands there ("2005:07:14
// 10:00:00"). Width and height are taken only if the record has none yet, and of each tag only the first value.
void exif_read_block(FileWindow& file, PictureInfo& info);
