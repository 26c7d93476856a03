#include "meta/file_window.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include "core/bytes.h"
#include "core/file.h"
#include "core/thread.h"

FileWindow::FileWindow(const File& file, std::uint64_t size, const RunningFlag* running)
    : file_(&file),
      running_(running),
      size_(size),
      buffer_(std::make_unique_for_overwrite<std::byte[]>(kWindowBytes)) {}

Bytes FileWindow::at(std::uint64_t offset, std::size_t n) {
    if (offset >= size_) return {};
    n = static_cast<std::size_t>(std::min<std::uint64_t>({n, size_ - offset, kWindowBytes}));
    const bool inside =
        offset >= start_ && offset - start_ <= loaded_.size() && loaded_.size() - (offset - start_) >= n;
    if (!inside && file_ != nullptr) {
        const bool stopped = running_ != nullptr && !running_->running();
        const std::size_t wanted =
            stopped ? 0 : static_cast<std::size_t>(std::min<std::uint64_t>(size_ - offset, kWindowBytes));
        start_ = offset;
        loaded_ = {buffer_.get(), file_->read_at(offset, {buffer_.get(), wanted})};
    }
    const Bytes rest = loaded_.subspan(static_cast<std::size_t>(offset - start_));
    return rest.first(std::min(n, rest.size()));
}

Bytes FileWindow::from(std::uint64_t offset) {
    if (at(offset, 1).empty()) return {};
    return loaded_.subspan(static_cast<std::size_t>(offset - start_));
}

std::optional<std::uint32_t> FileWindow::big_endian(std::uint64_t offset, std::size_t width) {
    return ByteCursor{at(offset, width)}.big_endian(width);
}

std::optional<std::uint32_t> FileWindow::little_endian(std::uint64_t offset, std::size_t width) {
    return ByteCursor{at(offset, width)}.little_endian(width);
}

std::optional<std::uint64_t> FileWindow::find(std::string_view text, std::uint64_t from, std::uint64_t end) {
    while (from < end) {
        const Bytes here = at(from, kWindowBytes);
        if (here.size() < text.size()) return std::nullopt;
        const std::size_t found = as_text(here).find(text);
        if (found != std::string_view::npos) {
            if (from + found + text.size() > end) return std::nullopt;
            return from + found;
        }
        from += here.size() - (text.size() - 1);  // the text may lie across the border of two windows
    }
    return std::nullopt;
}
