// The cover of an ASF file (Advanced Systems Format, sections 3.10 and 4.7).
#pragma once

#include <optional>

#include "meta/embedded_picture.h"
#include "meta/file_window.h"

// The picture of the first WM/Picture attribute whose bytes make sense, wherever in the header object it stands.
std::optional<EmbeddedPicture> wma_find_picture(FileWindow& file);
