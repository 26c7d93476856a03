// Audio containers and raw sound as music items: WAV and M4A files, PCM and LPCM by size and name.
#pragma once

#include <string>

#include "meta/audio_tags.h"

// The extension says which kind of file it is. What cannot be read stays missing; without a status everything does.
AudioTags audio_read_tags(const std::string& path);

// Reads the file and adds its item; a refusal of the store is logged. The compilation flag is that of the file's
// directory.
void audio_add_item(const std::string& path, bool compilation);
