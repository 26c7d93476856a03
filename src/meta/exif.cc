// A JPEG file is a row of segments, each a marker (0xFF and a byte), a length and data. jpeg_find_size() steps from
// segment to segment up to the first frame (SOF), which holds height and width.
//
// The EXIF block is the first segment, apart from a JFIF header and a comment. It holds a small TIFF file:
//
//     byte order, magic number, offset of IFD0
//     IFD0   entries: tag, type, count, value or its offset; then the offset of IFD1
//              one of them, ExifIFD, is the offset of another directory of the same form
//     IFD1   the same for the thumbnail
//
// The directories are read in the order IFD0, ExifIFD, IFD1, and of each tag the first value counts, so the picture's
// own data goes before that of its thumbnail. Each directory is read once, so offsets that lead in a circle do no harm.
#include "meta/exif.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <optional>
#include <utility>

#include "core/file.h"
#include "core/time_text.h"

namespace {

// ---- frames

bool is_frame(unsigned marker) {
    // SOF0 to SOF15 without DHT (C4), JPG (C8) and DAC (CC).
    return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

// The longest thing before a frame is a colour profile: at most 255 segments of 64 KiB (ICC.1, annex B.4). After four
// times as much no frame is looked for.
constexpr std::uint64_t kMaxBeforeFrame = 64 * 1024 * 1024;

// Reads a file from one place on.
class Walk {
public:
    explicit Walk(FileWindow& file) : file_(file) {}

    std::uint64_t left() const { return file_.size() > at_ ? file_.size() - at_ : 0; }
    void skip(std::uint64_t bytes) { at_ += bytes; }
    // nullopt at the end of the file.
    std::optional<std::uint32_t> big_endian(std::size_t width) {
        const auto value = ByteCursor{file_.at(at_, width)}.big_endian(width);
        if (value) at_ += width;
        return value;
    }
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

// ---- the block

constexpr std::uint16_t kImageDescription = 270, kOrientation = 274, kXResolution = 282, kYResolution = 283,
                        kDateTime = 306, kExifIfd = 34665, kDateTimeOriginal = 36867, kPixelXDimension = 40962,
                        kPixelYDimension = 40963;
constexpr std::uint32_t kShortType = 3;

constexpr std::size_t kEntryBytes = 12;
constexpr std::size_t kInlineBytes = 4;   // a shorter text stands in the entry itself
constexpr std::uint32_t kMaxText = 1024;  // longer ones are not descriptions
constexpr std::uint32_t kMaxIfd1 = 50;    // more entries are no thumbnail's

struct Entry {
    std::uint16_t tag = 0;
    std::uint32_t type = 0, count = 0;
    Bytes value;  // four bytes
};

// The TIFF structure without its first four bytes, which the search for the block has read. Offsets still count from
// its start.
class TiffBlock {
public:
    TiffBlock(Bytes data, bool little_endian) : data_(data), little_endian_(little_endian) {}

    std::optional<std::uint32_t> number(std::uint32_t offset, std::size_t width) const {
        const auto bytes = at(offset, width);
        return bytes ? number_of(*bytes, width) : std::nullopt;
    }
    std::optional<std::uint32_t> number_of(Bytes bytes, std::size_t width) const {
        ByteCursor cursor{bytes};
        return little_endian_ ? cursor.little_endian(width) : cursor.big_endian(width);
    }
    std::optional<Bytes> at(std::uint32_t offset, std::size_t n) const {
        if (offset < kReadBefore || offset - kReadBefore > data_.size()) return std::nullopt;
        const Bytes rest = data_.subspan(offset - kReadBefore);
        if (n > rest.size()) return std::nullopt;
        return rest.first(n);
    }
    std::optional<Entry> entry(std::uint32_t offset) const {
        const auto bytes = at(offset, kEntryBytes);
        if (!bytes) return std::nullopt;
        return Entry{.tag = static_cast<std::uint16_t>(number_of(*bytes, 2).value_or(0)),
                     .type = number_of(bytes->subspan(2), 2).value_or(0),
                     .count = number_of(bytes->subspan(4), 4).value_or(0),
                     .value = bytes->subspan(8)};
    }
    std::uint32_t value_of(const Entry& entry) const {
        return number_of(entry.value, entry.type == kShortType ? 2 : 4).value_or(0);
    }

private:
    static constexpr std::uint32_t kReadBefore = 4;
    Bytes data_;
    bool little_endian_;
};

class BlockReader {
public:
    BlockReader(const TiffBlock& block, PictureInfo& info)
        : block_(block), info_(info), size_known_(info.width != 0 || info.height != 0) {}

    void read() {
        const auto start = block_.number(4, 4);
        if (!start) return;
        const auto next = walk(*start);
        if (exif_ifd_ != 0) walk(exif_ifd_);
        if (next.value_or(0) == 0) return;
        const auto count = block_.number(*next, 2);
        if (count && *count <= kMaxIfd1) walk(*next);
    }

private:
    // Returns the offset of the next directory; nullopt if the block ends before.
    std::optional<std::uint32_t> walk(std::uint32_t offset) {
        const auto count = block_.number(offset, 2);
        if (!count) return std::nullopt;
        offset += 2;
        for (std::uint32_t i = 0; i < *count; ++i, offset += kEntryBytes) {
            const auto entry = block_.entry(offset);
            if (!entry) return std::nullopt;
            take(*entry);
        }
        return block_.number(offset, 4);
    }

    void take(const Entry& entry) {
        switch (entry.tag) {
            case kExifIfd:
                return keep_first(exif_ifd_, block_.value_of(entry));
            case kImageDescription:
                return take_text(entry, info_.description);
            case kDateTime:
                return take_text(entry, info_.date);
            case kDateTimeOriginal:
                return take_text(entry, info_.original_date);
            case kOrientation:
                return keep_first(info_.orientation, static_cast<std::uint8_t>(block_.value_of(entry)));
            case kXResolution:
                return keep_first(info_.x_resolution, block_.value_of(entry));
            case kYResolution:
                return keep_first(info_.y_resolution, block_.value_of(entry));
            case kPixelXDimension:
                return take_side(entry, info_.width);
            case kPixelYDimension:
                return take_side(entry, info_.height);
            default:  // Software (305) and everything else says nothing that clients are shown
                return;
        }
    }

    template <typename Number>
    void keep_first(Number& field, Number value) {
        if (field == 0) field = value;
    }

    void take_side(const Entry& entry, std::int32_t& side) {
        const std::uint32_t value = block_.value_of(entry);
        if (!size_known_ && value <= INT32_MAX) keep_first(side, static_cast<std::int32_t>(value));
    }

    void take_text(const Entry& entry, Text& field) {
        if (field || entry.count == 0 || entry.count > kMaxText) return;
        const auto bytes = entry.count <= kInlineBytes ? std::optional{entry.value.first(entry.count)}
                                                       : block_.at(block_.value_of(entry), entry.count);
        if (!bytes) return;
        const std::string_view text = as_text(*bytes);
        field = std::string{text.substr(0, text.find('\0'))};
    }

    const TiffBlock& block_;
    PictureInfo& info_;
    const bool size_known_;
    std::uint32_t exif_ifd_ = 0;
};

// ---- the search for the block

constexpr std::size_t kHeadBytes = 14;  // marker, length, "Exif" and two zeros, byte order and magic number
// How many of them the segment's length counts. We read the whole rest: programs that write few tags put the date last.
constexpr std::uint32_t kReadOfSegment = 12;
constexpr std::uint32_t kLeastSegment = 16 + 12;  // below it no directory fits

// Steps over the segment at offset if it has this marker.
std::uint64_t after_segment(FileWindow& file, std::uint64_t offset, std::uint32_t marker) {
    ByteCursor cursor{file.at(offset, 4)};
    const auto found = cursor.big_endian(2), length = cursor.big_endian(2);
    return found == marker && length ? offset + 2 + *length : offset;
}

std::optional<bool> is_little_endian(Bytes mark) {
    if (as_text(mark) == "II") return true;
    if (as_text(mark) == "MM") return false;
    return std::nullopt;
}

// ---- dates

constexpr std::int32_t kFirstYear = 1931;  // a camera that was never set says less

std::string listed_date(const Text& camera_date, std::time_t modified) {
    if (!camera_date || text_int(*camera_date) < kFirstYear) return date_text(modified);
    std::string date = camera_date->substr(0, 10);
    for (const std::size_t separator : {4U, 7U})
        if (separator < date.size()) date[separator] = '-';
    return date;
}

}  // namespace

JpegSize jpeg_find_size(FileWindow& file) {
    Walk walk{file};
    if (walk.big_endian(2) != 0xFFD8U) return {};
    while (walk.skip_to_marker()) {
        walk.skip(1);
        const auto marker = walk.big_endian(1), length = walk.big_endian(2);
        if (!marker || *marker == 0 || !length) return {};
        if (is_frame(*marker)) {
            walk.skip(1);  // the precision
            const auto height = walk.big_endian(2), width = walk.big_endian(2);
            if (!height || !width) return {};
            return {.width = static_cast<std::int32_t>(*width), .height = static_cast<std::int32_t>(*height)};
        }
        // A segment that would end after the file is searched for markers instead.
        const std::uint32_t rest = std::max(*length, 2U) - 2;
        if (rest <= walk.left()) walk.skip(rest);
    }
    return {};
}

void exif_read_block(FileWindow& file, PictureInfo& info) {
    if (as_text(file.at(0, 2)) != "\xFF\xD8") return;
    // Some programs put a comment before the block, and all that also write a JFIF header put that there.
    std::uint64_t offset = after_segment(file, 2, 0xFFFE);
    offset = after_segment(file, offset, 0xFFE0);

    ByteCursor head{file.at(offset, kHeadBytes)};
    const auto marker = head.big_endian(2), length = head.big_endian(2);
    const auto name = head.take(6), order = head.take(2);
    if (marker != 0xFFE1U || !length || !name || !order || !head.skip(2)) return;
    const auto little_endian = is_little_endian(*order);
    if (as_text(*name) != std::string_view{"Exif\0\0", 6} || !little_endian) return;

    if (*length < kLeastSegment) return;
    const std::size_t wanted = *length - kReadOfSegment;
    // Two windows at the most, and none of them is looked at as a whole unless the block is that long.
    std::string data;
    while (data.size() < wanted) {
        const Bytes piece = file.from(offset + kHeadBytes + data.size());
        if (piece.empty()) break;
        data.append(as_text(piece.first(std::min(piece.size(), wanted - data.size()))));
    }
    BlockReader{TiffBlock{as_bytes(data), *little_endian}, info}.read();
}

PictureInfo exif_read_info(const std::string& path) {
    PictureInfo info;
    const auto status = file_status(path);
    if (!status) return info;
    info.size = status->size;
    info.modified = status->modified_32();
    if (info.size == 0) return info;
    if (const File file = file_open_regular(path)) {
        FileWindow window{file, static_cast<std::uint64_t>(status->size)};
        const JpegSize size = jpeg_find_size(window);
        info.width = size.width;
        info.height = size.height;
        exif_read_block(window, info);
    }
    info.date = listed_date(info.date, status->modified);
    return info;
}

MediaFacts picture_read_facts(const std::string& path) {
    PictureInfo info = exif_read_info(path);
    return std::move(static_cast<MediaFacts&>(info));
}
