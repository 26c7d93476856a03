// "/albumart-mp3/ID.jpg" and "/albumart-wma/ID.jpg": the cover picture inside a music file, sent straight from it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "http/request.h"
#include "meta/file_window.h"

struct EmbeddedPicture {
    std::uint64_t offset = 0;  // in the file
    std::uint64_t length = 0;  // as the tag says; the file may end before
    std::string mime = "image/jpeg";
};
// The JFIF picture of the first ID3 picture frame; missing when the frame holds none (a PNG, an Exif JPEG).
std::optional<EmbeddedPicture> mp3_find_picture(FileWindow& file);
// The picture of the first WM/Picture attribute of an ASF file.
std::optional<EmbeddedPicture> wma_find_picture(FileWindow& file);

HandlerResult albumart_mp3_handler(HttpRequest& request);
HandlerResult albumart_wma_handler(HttpRequest& request);
