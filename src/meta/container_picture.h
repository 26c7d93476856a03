// Cover pictures of MPEG-4 files, found by walking their boxes: nothing of the sound is read.
#pragma once

#include <cstdint>
#include <optional>

#include "meta/embedded_picture.h"
#include "meta/file_window.h"

// The first picture of the cover list of an MPEG-4 file (ISO/IEC 14496-12 boxes; "covr" of the item list).
std::optional<EmbeddedPicture> m4a_find_picture(FileWindow& file);
