// What a reader finds in a media file: the one record in which all readers answer. What cannot be read stays missing or
// 0. The item that is made of it is in import/file_item.h.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "core/file.h"
#include "core/str.h"

struct MediaFacts {
    Text title = {}, artist = {}, album = {}, genre = {};
    Text date = {};                      // "2004-05-01"; of a year alone its first day
    Text duration = {};                  // "0:03:25.120"
    Text description = {};               // of a picture
    std::int32_t track = 0;              // 0: unknown
    std::int32_t album_art = 0;          // 0: no cover; in MP3 files the offset of the picture frame's data
    std::int32_t bitrate = 0;            // kilobits per second; 0: unknown or variable
    std::int32_t width = 0, height = 0;  // pixels; 0: unknown
    std::int64_t size = 0;               // of the file, bytes
    std::int32_t modified = 0;           // seconds since the epoch
};

// Opens a regular file and returns what read() finds in it, with the file's size and time. A file that cannot be opened
// has its size and time only; one without a status has nothing.
MediaFacts media_facts_of_file(const std::string& path,
                               const std::function<MediaFacts(const File& file, std::uint64_t size)>& read);

// The date of a year that stands alone: "2004" is "2004-01-01". A year of more than five digits loses the end of the
// text, which holds 11 characters.
std::string date_of_year(std::int32_t year);
