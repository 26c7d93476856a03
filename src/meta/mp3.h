// What an MP3 file says about itself: ID3v2 frames, the first MPEG audio frame, the ID3v1 block, and the file's status.
// Any file may be asked, as playlists do; nothing is decoded and nothing reported, what cannot be read stays missing.
#pragma once

#include <string>

#include "meta/audio_tags.h"

// A file that cannot be opened has its size and time; one without a status has nothing.
AudioTags mp3_read_tags(const std::string& path);
