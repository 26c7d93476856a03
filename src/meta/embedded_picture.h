// Where in a music file its cover lies. The finders stand beside the readers of their formats.
#pragma once

#include <cstdint>
#include <string>

// No cover is looked for farther on than this, in a file however large. An ID3 tag has no more: its size has 28 bits
// (ID3v2.4.0, section 3.1). The pictures of ASF headers are far smaller.
constexpr std::uint64_t kMaxCoverSearch = 256 * 1024 * 1024;

struct EmbeddedPicture {
    std::uint64_t offset = 0;  // in the file
    std::uint64_t length = 0;  // as the tag says; the file may end before that
    std::string mime = "image/jpeg";
};
