// WMA files as music items: what the head of the file and its status say.
#pragma once

#include <cstdint>
#include <string>

#include "meta/asf.h"

struct WmaTags {
    AsfTags asf;
    std::uint64_t size = 0;     // of the file, bytes
    std::int32_t modified = 0;  // seconds since the epoch
};
// One read of at most kAsfHeadBytes. A file that cannot be opened has its size and time; one without a status nothing.
WmaTags wma_read_tags(const std::string& path);

// Reads the file and adds its item; a refusal of the store is logged. The compilation flag is that of the file's
// directory.
void wma_add_item(const std::string& path, bool compilation);
