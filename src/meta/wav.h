// WAV files: an ID3v2 tag in a chunk of its own, a LIST INFO chunk, or both, and play time and bitrate of the sound.
// Not by TagLib: it unpacks whatever a frame holds, which lets a small file take all memory or the stack of a thread.
#pragma once

#include "meta/audio_tags.h"
#include "meta/file_window.h"
#include "meta/tag_text.h"

// Everything but the file's size and time. The ID3 tag goes before the LIST INFO chunk.
AudioTags wav_read_tags(FileWindow& file, TagCharset charset);
