// Video files as video items: their containers are not looked into.
#pragma once

#include <string>

// Adds an item with the file's name, size and date; nothing when the file's status cannot be read. A refusal of the
// store is logged. The compilation flag has no meaning here.
void video_add_item(const std::string& path, bool compilation);
