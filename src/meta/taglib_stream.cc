#include "meta/taglib_stream.h"

#include <algorithm>
#include <cstdint>
#include <string_view>
#include "core/bytes.h"

TagLib::ByteVector TagLibStream::readBlock(unsigned long length) {
    const auto offset = static_cast<std::uint64_t>(position_);
    const std::uint64_t there = window_.size() - std::min(offset, window_.size());
    const auto wanted = static_cast<unsigned>(std::min<std::uint64_t>({length, there, left_}));
    TagLib::ByteVector block{wanted, '\0'};
    unsigned filled = 0;
    while (filled < wanted) {
        const std::string_view bytes = as_text(window_.at(offset + filled, wanted - filled));
        if (bytes.empty()) break;
        std::ranges::copy(bytes, block.begin() + filled);
        filled += static_cast<unsigned>(bytes.size());
    }
    block.resize(filled);
    position_ += filled;
    left_ -= filled;
    return block;
}

void TagLibStream::seek(long offset, Position from) {
    const auto end = static_cast<std::int64_t>(window_.size());
    const std::int64_t base = from == Current ? position_ : from == End ? end : 0;
    // Offsets are sums of lengths from the file. If those are too large the sum comes out negative. From the start of
    // the file the walk would then go round for ever, so we go to the end.
    std::int64_t target = 0;
    if (__builtin_add_overflow(base, std::int64_t{offset}, &target) || target < 0) target = end;
    position_ = target;
}
