#include "meta/taglib_stream.h"

#include <algorithm>
#include <span>

TagLib::ByteVector TagLibStream::readBlock(unsigned long length) {
    const auto offset = static_cast<std::uint64_t>(position_);
    const std::uint64_t left = window_.size() - std::min(offset, window_.size());
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>({length, left, kLargestBlock}));
    TagLib::ByteVector block;
    if (wanted <= FileWindow::kWindowBytes) {
        const std::string_view bytes = as_text(window_.at(offset, wanted));
        block.setData(bytes.data(), static_cast<unsigned>(bytes.size()));
    } else {
        block.resize(static_cast<unsigned>(wanted));
        block.resize(
            static_cast<unsigned>(file_.read_at(offset, std::as_writable_bytes(std::span{block.data(), wanted}))));
    }
    position_ += static_cast<std::int64_t>(block.size());
    return block;
}

void TagLibStream::seek(long offset, Position from) {
    const std::int64_t base = from == Current ? position_ : from == End ? static_cast<std::int64_t>(window_.size()) : 0;
    // Offsets are sums of what the file says.
    std::int64_t target = 0;
    if (__builtin_add_overflow(base, std::int64_t{offset}, &target)) return;
    position_ = std::max<std::int64_t>(target, 0);
}
