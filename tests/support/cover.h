// What the readers of media files find, in one text: the tags, and the picture.
#pragma once

#include <optional>
#include <string>

#include "meta/embedded_picture.h"
#include "meta/file_window.h"
#include "meta/media_facts.h"

// "title|artist|album|genre|date|track"; a missing text is a "-".
inline std::string described(const MediaFacts& tags) {
    std::string out;
    for (const Text* text : {&tags.title, &tags.artist, &tags.album, &tags.genre, &tags.date})
        out += text->value_or("-") + "|";
    return out + std::to_string(tags.track);
}

using PictureFinder = std::optional<EmbeddedPicture> (*)(FileWindow&);

// "MIME picture", or "none".
inline std::string found_picture(PictureFinder find, const std::string& bytes) {
    FileWindow file{as_bytes(bytes)};
    const auto picture = find(file);
    return picture ? picture->mime + " " + bytes.substr(picture->offset, picture->length) : "none";
}

inline const std::string kJpeg = "\xFF\xD8\xFF\xE0 the picture \xFF\xD9", kPng = "\x89PNG...";
inline const std::string kJpegFound = "image/jpeg " + kJpeg, kPngFound = "image/png " + kPng;
