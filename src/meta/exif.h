// What a JPEG file says about itself: its size, and the date and description in its EXIF block (JEITA CP-3451, on TIFF
// 6.0). Nothing is decoded and nothing is reported: what cannot be read stays empty.
#pragma once

#include <cstdint>
#include <string>

#include "core/str.h"
#include "meta/file_window.h"
#include "meta/media_facts.h"

// The date is that of the last change according to the camera (DateTime), or else to the file system.
struct PictureInfo : MediaFacts {
    std::uint8_t orientation = 0;
    std::uint32_t x_resolution = 0, y_resolution = 0;  // the value fields as they are: offsets of fractions
    Text original_date;                                // as it is in the block: "2005:07:14 10:00:00"
};

// Returns nothing at all if the file has no status. If it cannot be opened, its size, time and date. Kept on purpose:
// an empty file has no date.
PictureInfo exif_read_info(const std::string& path);
// The part of that record which an item shows.
MediaFacts picture_read_facts(const std::string& path);

// Fills the record from the EXIF block at the head of the file: the first value of each tag, and width and height only
// if the record has neither. The date stays as it is in the block.
void exif_read_block(FileWindow& file, PictureInfo& info);
