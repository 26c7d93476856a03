// The chunks of a RIFF file (Microsoft and IBM, 1991): an id of four characters, a little-endian size, data, and a byte
// more where the size is odd.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "meta/file_window.h"

struct RiffChunk {
    std::string_view id;                // valid until the next look into the file
    std::uint64_t begin = 0, size = 0;  // of the data; the size is cut where the file or the list ends
};

// Steps from one chunk to the next. In a broken file it ends after 10,000.
class RiffWalk {
public:
    // All chunks of the file; none if it is no RIFF file.
    explicit RiffWalk(FileWindow& file);
    // The chunks in the data of a LIST chunk, after its type.
    RiffWalk(FileWindow& file, const RiffChunk& list);

    std::optional<RiffChunk> next();

private:
    FileWindow& file_;
    std::uint64_t at_ = 0, end_ = 0;
    int steps_ = 0;
};

bool riff_is_id3(const RiffChunk& chunk);
// Where the ID3 chunk of a RIFF file has its data; nullopt if there is none.
std::optional<std::uint64_t> riff_find_id3(FileWindow& file);
