// What an audio container or raw sound says about itself, as its item shows it. What cannot be read stays missing.
#pragma once

#include <cstdint>

#include "core/str.h"

struct AudioTags {
    Text title, artist, album, genre;
    Text date;                 // "2004-01-01": of the year alone
    Text duration;             // "0:03:25.120"
    std::int32_t track = 0;    // 0: unknown
    std::int32_t bitrate = 0;  // kilobits per second; 0: unknown
    bool has_cover = false;
    std::uint64_t size = 0;     // of the file, bytes
    std::int32_t modified = 0;  // seconds since the epoch
};
