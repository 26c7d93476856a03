// The picture behind a request: a JPEG file of ours or a JPEG that another web server has, decoded and scaled.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/file.h"
#include "core/semaphore.h"
#include "meta/scale.h"

// An opened source, or none: what could not be opened or fetched becomes the placeholder when it is loaded.
struct PictureSource {
    std::string name;  // path or "http://" URL
    File file;
    std::uint64_t file_size = 0;
    std::optional<std::string> fetched;
    std::optional<Reservation> fetch_reservation;  // of what fetched pictures may take at once
};
// Fetching may take a minute, so this comes before a turn at scaling is waited for. A URL that ends in "#_webcam.jpg"
// is fetched without that mark.
PictureSource picture_open(const std::string& path_or_url);

// By its header; 0 for a source that has none or too many to be loaded.
std::int64_t picture_source_pixels(const PictureSource& source);

// Decodes and scales to width x height as the mode says (meta/scale.h). A source that is no good JPEG gives a picture
// of 100 x 100 pixels in mid grey, and a line in the log.
RgbPicture jpeg_load_scaled(const PictureSource& source, int width, int height, int mode);
