// The picture that a request asks for: opened or fetched first, decoded and scaled when its turn has come.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/file.h"
#include "core/semaphore.h"
#include "meta/scale.h"

// A JPEG file of the library, or a JPEG of another web server, held in memory. Neither of the two if it could not be
// opened or fetched; the placeholder is loaded then.
struct PictureSource {
    std::string name;  // path or "http://" URL
    File file;
    std::uint64_t file_size = 0;
    std::optional<std::string> fetched;
    std::optional<Reservation> fetch_reservation;  // one of the fetched pictures in memory
};

// Opens a path, or fetches an "http://" URL; the mark "#_webcam.jpg" at the end of a URL is not sent. Fetching may take
// a minute, so do this before waiting for a turn. Returns nullopt if memory is out.
std::optional<PictureSource> picture_open(const std::string& path_or_url);

// The source's pixels, according to its header; 0 if it has no size or is too large to be loaded.
std::int64_t picture_source_pixels(const PictureSource& source);

// Decodes the source and scales it to width x height pixels as the mode says (meta/scale.h). For a source that is not a
// good JPEG returns a mid-grey picture of 100 x 100 pixels, the placeholder.
RgbPicture jpeg_load_scaled(const PictureSource& source, int width, int height, int mode);
