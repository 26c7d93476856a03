// What a sound file says about itself, as its item shows it, and the way from there into the store. What cannot be read
// stays missing.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "core/file.h"
#include "core/str.h"
#include "db/add_item.h"

struct AudioTags {
    Text title = {}, artist = {}, album = {}, genre = {};
    Text date = {};              // "2004-01-01": of the year alone
    Text duration = {};          // "0:03:25.120"
    std::int32_t track = 0;      // 0: unknown
    std::int32_t album_art = 0;  // 0: no picture; of MP3 files where the picture's frame data stands in the file
    std::int32_t bitrate = 0;    // kilobits per second; 0: unknown or variable
    std::int64_t size = 0;       // of the file, bytes
    std::int32_t modified = 0;   // seconds since the epoch
};

// The tags that read() finds in a regular file of that size, with size and time of the file. A file that cannot be
// opened has its size and time; one without a status has nothing.
AudioTags audio_tags_of_file(const std::string& path,
                             const std::function<AudioTags(const File& file, std::uint64_t size)>& read);

// The music item of a file with these tags.
NewItem audio_tags_item(const std::string& path, AudioTags&& tags);

// Adds that item; a refusal of the store is logged with the name of the kind. The compilation flag is that of the
// file's directory.
void audio_tags_add(const std::string& path, AudioTags&& tags, bool compilation, const char* kind);
