// WAV files: an ID3v2 tag in a chunk of its own, a LIST INFO chunk, or both, and play time and bitrate of the sound.
// TagLib is not used here: it unpacks whatever a frame holds, so a small file could take all memory or a thread's
// stack.
#pragma once

#include <optional>
#include <string>

#include "meta/embedded_picture.h"
#include "meta/file_window.h"
#include "meta/media_facts.h"
#include "meta/tag_text.h"

// Everything but the file's size and time. The ID3 tag takes precedence over the LIST INFO chunk.
MediaFacts wav_read_tags(FileWindow& file, TagCharset charset);
MediaFacts wav_read_tags(const std::string& path);

// The cover of the ID3 chunk, see id3_find_picture.
std::optional<EmbeddedPicture> wav_find_picture(FileWindow& file);
