#include "meta/riff.h"

#include <algorithm>
#include <cstdint>
#include <optional>

#include "core/bytes.h"
#include "meta/file_window.h"

namespace {

constexpr int kMostSteps = 10'000;
constexpr std::uint64_t kTypeBytes = 4, kChunkHeader = 8, kFileHeader = 12;

}  // namespace

RiffWalk::RiffWalk(FileWindow& file) : file_(file), at_(kFileHeader) {
    if (as_text(file.at(0, 4)) == "RIFF") end_ = file.size();
}

RiffWalk::RiffWalk(FileWindow& file, const RiffChunk& list)
    : file_(file), at_(list.begin + kTypeBytes), end_(list.begin + list.size) {}

std::optional<RiffChunk> RiffWalk::next() {
    if (at_ >= end_ || end_ - at_ < kChunkHeader || steps_++ == kMostSteps) return std::nullopt;
    ByteCursor cursor{file_.at(at_, kChunkHeader)};
    const auto id = cursor.take(4);
    const auto size = cursor.little_endian(4);
    if (!id || !size) return std::nullopt;
    const std::uint64_t begin = at_ + kChunkHeader;
    at_ = begin + *size + *size % 2;
    return RiffChunk{.id = as_text(*id), .begin = begin, .size = std::min<std::uint64_t>(*size, end_ - begin)};
}

bool riff_is_id3(const RiffChunk& chunk) {
    return chunk.id == "ID3 " || chunk.id == "id3 ";
}

std::optional<std::uint64_t> riff_find_id3(FileWindow& file) {
    RiffWalk walk{file};
    while (const auto chunk = walk.next())
        if (riff_is_id3(*chunk)) return chunk->begin;
    return std::nullopt;
}
