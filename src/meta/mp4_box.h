// The box headers of MPEG-4 files (ISO/IEC 14496-12, section 4.2): a size in 4 bytes and a type in 4. A size of 1 means
// that 8 bytes with the size follow the type, a size of 0 that the box reaches to the end.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "meta/file_window.h"

struct Mp4BoxHeader {
    std::string_view type;           // valid until the next look into the file
    std::uint64_t header_bytes = 0;  // 8 or 16
    std::uint64_t length = 0;        // of the whole box as it says, unchecked
    bool to_end = false;             // the length is whatever is left
};

// The header at this offset; nullopt where the file ends within it.
std::optional<Mp4BoxHeader> mp4_box_at(FileWindow& file, std::uint64_t offset);
