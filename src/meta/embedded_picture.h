// Where in a music file its cover picture lies.
#pragma once

#include <cstdint>
#include <string>

struct EmbeddedPicture {
    std::uint64_t offset = 0;  // in the file
    std::uint64_t length = 0;  // as the tag says; the file may end before
    std::string mime = "image/jpeg";
};
