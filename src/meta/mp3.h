// What an MP3 file says about itself: ID3v2 frames, the first MPEG audio frame, the ID3v1 block, and the file's status.
// Any file may be asked, as playlists do; nothing is decoded and nothing reported, what cannot be read stays missing.
#pragma once

#include <cstdint>
#include <string>

#include "core/str.h"

struct Mp3Tags {
    Text title, artist, album, genre;
    Text date;                         // "2004-01-01": of the year alone
    Text duration;                     // "0:03:25.120"
    std::int32_t track = 0;            // 0: unknown
    std::uint32_t picture_offset = 0;  // of the embedded picture's frame data in the file; 0: no picture
    std::uint32_t bitrate = 0;         // kilobits per second; 0 for variable bitrates and without a duration
    std::uint64_t size = 0;            // of the file, bytes
    std::int32_t modified = 0;         // seconds since the epoch
};
// A file that cannot be opened has its size and time; one without a status has nothing.
Mp3Tags mp3_read_tags(const std::string& path);
