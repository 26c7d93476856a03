// JPEG files as picture items.
#pragma once

#include <string>

// Reads the file and adds its item; a refusal of the store is logged. The compilation flag has no meaning here.
void picture_add_item(const std::string& path, bool compilation);
