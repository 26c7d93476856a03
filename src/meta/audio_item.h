// Audio containers and raw sound as music items: WAV (RIFF) and M4A (MPEG-4) files through TagLib, PCM and LPCM by size
// and name.
#pragma once

#include <cstdint>
#include <string>

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
// The extension says which kind of file it is. What cannot be read stays missing; without a status everything does.
AudioTags audio_read_tags(const std::string& path);

// Reads the file and adds its item; a refusal of the store is logged. The compilation flag is that of the file's
// directory.
void audio_add_item(const std::string& path, bool compilation);
