// MIME types by file extension.
#pragma once

#include <string_view>

// The type of an extension ("mp3" is "audio/mpeg"), compared without regard to case; empty when it has none.
std::string_view mime_of_extension(std::string_view extension);
