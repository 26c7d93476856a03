// A read-only file for TagLib. It reads through a window, so that TagLib's many small steps cost few system calls, and
// gives at most kMostBytes in all, so that lengths in a broken file cannot cost memory.
#pragma once

#include <taglib/tiostream.h>

#include <cstdint>

#include "meta/file_window.h"

class TagLibStream final : public TagLib::IOStream {
public:
    static constexpr std::uint64_t kMostBytes = 32 * 1024 * 1024;  // more than any tag needs

    // The window stays the caller's and must outlive the stream.
    explicit TagLibStream(FileWindow& window) : window_(window) {}

    TagLib::FileName name() const override { return ""; }
    TagLib::ByteVector readBlock(unsigned long length) override;
    // An offset that no file can have moves to the end.
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
    FileWindow& window_;
    std::int64_t position_ = 0;
    std::uint64_t left_ = kMostBytes;
};
