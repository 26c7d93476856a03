#include "meta/jpeg_size.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "core/bytes.h"
#include "meta/file_window.h"

namespace {

bool is_frame(unsigned marker) {
    // SOF0 to SOF15; DHT (C4), JPG (C8) and DAC (CC) lie between them and are no frames.
    return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

// The longest thing before a frame is a colour profile: at most 255 segments of 64 KiB (ICC.1, annex B.4). We look four
// times as far and then give up, so that a large file without frames is not read to its end.
constexpr std::uint64_t kMaxBeforeFrame = 64 * 1024 * 1024;

// A reading position in a file that only moves forward.
class Walk {
public:
    explicit Walk(FileWindow& file) : file_(file) {}

    std::uint64_t left() const { return file_.size() > at_ ? file_.size() - at_ : 0; }
    void skip(std::uint64_t bytes) { at_ += bytes; }
    // Returns nullopt at the end of the file, and stays where it was.
    std::optional<std::uint32_t> big_endian(std::size_t width) {
        const auto value = ByteCursor{file_.at(at_, width)}.big_endian(width);
        if (value) at_ += width;
        return value;
    }
    // Moves to the next byte 0xFF, with which every marker begins. False if there is none.
    bool skip_to_marker() {
        while (at_ < kMaxBeforeFrame) {
            const Bytes here = file_.from(at_);
            if (here.empty()) return false;
            const auto mark = std::find(here.begin(), here.end(), std::byte{0xFF});
            at_ += static_cast<std::uint64_t>(mark - here.begin());
            if (mark != here.end()) return true;
        }
        return false;
    }

private:
    FileWindow& file_;
    std::uint64_t at_ = 0;
};

}  // namespace

JpegSize jpeg_find_size(FileWindow& file) {
    Walk walk{file};
    if (walk.big_endian(2) != 0xFFD8U) return {};
    while (walk.skip_to_marker()) {
        walk.skip(1);  // the 0xFF
        const auto marker = walk.big_endian(1), length = walk.big_endian(2);
        if (!marker || *marker == 0 || !length) return {};
        if (is_frame(*marker)) {
            walk.skip(1);  // the precision
            const auto height = walk.big_endian(2), width = walk.big_endian(2);
            if (!height || !width) return {};
            return {.width = static_cast<std::int32_t>(*width), .height = static_cast<std::int32_t>(*height)};
        }
        // Other segments are stepped over. One that claims to end after the file is searched for markers instead.
        const std::uint32_t rest = std::max(*length, 2U) - 2;
        if (rest <= walk.left()) walk.skip(rest);
    }
    return {};
}
