// What a search for the picture in a file finds.
#pragma once

#include <optional>
#include <string>

#include "meta/embedded_picture.h"
#include "meta/file_window.h"

using PictureFinder = std::optional<EmbeddedPicture> (*)(FileWindow&);

// "MIME picture", or "none".
inline std::string found_picture(PictureFinder find, const std::string& bytes) {
    FileWindow file{as_bytes(bytes)};
    const auto picture = find(file);
    return picture ? picture->mime + " " + bytes.substr(picture->offset, picture->length) : "none";
}

inline const std::string kJpeg = "\xFF\xD8\xFF\xE0 the picture \xFF\xD9", kPng = "\x89PNG...";
inline const std::string kJpegFound = "image/jpeg " + kJpeg, kPngFound = "image/png " + kPng;
