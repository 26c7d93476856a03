// WMA files as music items: what the head of the file and its status say.
#pragma once

#include <string>

#include "meta/audio_tags.h"

// One read of at most kAsfHeadBytes.
AudioTags wma_read_tags(const std::string& path);

// Reads the file and adds its item; a refusal of the store is logged. The compilation flag is that of the file's
// directory.
void wma_add_item(const std::string& path, bool compilation);
