// What an MP3 file says about itself: ID3v2 frames, the first MPEG audio frame, the ID3v1 block, and the file's status.
// Any file may be given, as playlists do; nothing is decoded and nothing reported. What cannot be read stays missing.
#pragma once

#include <optional>
#include <string>

#include "meta/embedded_picture.h"
#include "meta/file_window.h"
#include "meta/media_facts.h"

MediaFacts mp3_read_tags(const std::string& path);

// The cover of the tag at the start of the file, see id3_find_picture.
std::optional<EmbeddedPicture> mp3_find_picture(FileWindow& file);
