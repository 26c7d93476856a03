// MP3 files as music items.
#pragma once

#include <string>

// Reads the file and adds its item; a refusal of the store is logged. The compilation flag is that of the file's
// directory.
void mp3_add_item(const std::string& path, bool compilation);
