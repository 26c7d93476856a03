// Cover pictures of audio containers, found by walking them: nothing of the sound is read.
#pragma once

#include <cstdint>
#include <optional>

#include "meta/embedded_picture.h"
#include "meta/file_window.h"

// The first picture of the cover list of an MPEG-4 file (ISO/IEC 14496-12 boxes; "covr" of the item list).
std::optional<EmbeddedPicture> m4a_find_picture(FileWindow& file);

// Where the ID3 chunk of a RIFF file has its data; missing when there is none.
std::optional<std::uint64_t> riff_find_id3(FileWindow& file);
