// An open file as TagLib reads it: through a window, so that its many small steps cost few system calls, and never more
// at once than any tag needs, so that a length in a broken file costs no memory. Reading only.
#pragma once

#include <taglib/tiostream.h>

#include <cstddef>
#include <cstdint>

#include "core/file.h"
#include "meta/file_window.h"

class TagLibStream final : public TagLib::IOStream {
public:
    static constexpr std::size_t kLargestBlock = 16 * 1024 * 1024;

    // The file stays the caller's and must outlive the stream.
    TagLibStream(const File& file, std::uint64_t size) : file_(file), window_(file, size) {}

    TagLib::FileName name() const override { return ""; }
    TagLib::ByteVector readBlock(unsigned long length) override;
    void seek(long offset, Position from) override;
    long tell() const override { return static_cast<long>(position_); }
    long length() override { return static_cast<long>(window_.size()); }
    bool readOnly() const override { return true; }
    bool isOpen() const override { return true; }

    void writeBlock(const TagLib::ByteVector& /*data*/) override {}
    void insert(const TagLib::ByteVector& /*data*/, unsigned long /*start*/, unsigned long /*replace*/) override {}
    void removeBlock(unsigned long /*start*/, unsigned long /*length*/) override {}
    void truncate(long /*length*/) override {}

private:
    const File& file_;
    FileWindow window_;
    std::int64_t position_ = 0;
};
