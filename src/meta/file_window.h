// A window on the bytes of a file, through which readers of tags look. It loads 16 KiB at a time and only where
// somebody looks: a small file costs one read, and a large embedded picture is stepped over without being read. Over a
// span of memory it does no input at all, which is what unit tests and fuzz targets use.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "core/bytes.h"
#include "core/file.h"
#include "core/thread.h"

class FileWindow {
public:
    static constexpr std::size_t kWindowBytes = 16 * 1024;

    // Looks through a file of this size. The file stays the caller's and must outlive the window. Once the flag (null:
    // none) has stopped running, nothing more is loaded: the file seems to end there.
    FileWindow(const File& file, std::uint64_t size, const RunningFlag* running = nullptr);
    // A whole file in memory.
    explicit FileWindow(Bytes whole) : size_(whole.size()), loaded_(whole) {}

    std::uint64_t size() const { return size_; }

    // The n bytes (at most kWindowBytes) at offset, fewer at the end of the file and on a read error. Valid until the
    // next call.
    Bytes at(std::uint64_t offset, std::size_t n);
    // Everything that is loaded from offset on, at least one byte; empty at the end of the file and on a read error.
    Bytes from(std::uint64_t offset);

    // The number of width bytes at offset; nullopt where the file ends before.
    std::optional<std::uint32_t> big_endian(std::uint64_t offset, std::size_t width);
    std::optional<std::uint32_t> little_endian(std::uint64_t offset, std::size_t width);

    // Where the text first stands at or after from, all of it before end; nullopt if it does not.
    std::optional<std::uint64_t> find(std::string_view text, std::uint64_t from, std::uint64_t end);

private:
    const File* file_ = nullptr;
    const RunningFlag* running_ = nullptr;
    std::uint64_t size_ = 0;
    std::uint64_t start_ = 0;  // offset of the first loaded byte
    Bytes loaded_;
    std::unique_ptr<std::byte[]> buffer_;
};
