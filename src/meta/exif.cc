// How it works
//
// The EXIF block is the first segment of a JPEG file, apart from a comment and a JFIF header. It holds a small TIFF
// file:
//
//     byte order, magic number, offset of IFD0
//     IFD0   entries: tag, type, count, value or its offset; then the offset of IFD1
//              one of them, ExifIFD, is the offset of another directory of the same form
//     IFD1   the same for the thumbnail
//
// exif_read_block() finds the segment and copies it. TiffBlock hands out its bytes and numbers, with every offset
// checked. BlockReader walks the directories in the order IFD0, ExifIFD, IFD1 and keeps the first value of each tag, so
// the picture's own data goes before that of its thumbnail. It walks each once, so offsets that form a loop do no harm.
#include "meta/exif.h"

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string_view>
#include <utility>

#include "core/bytes.h"
#include "core/file.h"
#include "core/str.h"
#include "core/time_text.h"
#include "meta/file_window.h"
#include "meta/jpeg_size.h"
#include "meta/media_facts.h"

namespace {

// ---- the block

// Tags of TIFF 6.0 and of JEITA CP-3451. Software (305) and everything else says nothing that clients are shown.
constexpr std::uint16_t kImageDescription = 270, kOrientation = 274, kXResolution = 282, kYResolution = 283,
                        kDateTime = 306, kExifIfd = 34665, kDateTimeOriginal = 36867, kPixelXDimension = 40962,
                        kPixelYDimension = 40963;
constexpr std::uint32_t kShortType = 3;

constexpr std::size_t kEntryBytes = 12;
constexpr std::size_t kInlineBytes = 4;   // texts up to this length lie in the entry itself
constexpr std::uint32_t kMaxText = 1024;  // longer texts are not descriptions
constexpr std::uint32_t kMaxIfd1 = 50;    // a directory of more entries does not describe a thumbnail

struct Entry {
    std::uint16_t tag = 0;
    std::uint32_t type = 0, count = 0;
    Bytes value;  // four bytes: the value, or the offset where it lies
};

// The TIFF structure, from its fifth byte on: the search for the block has read the first four. Offsets count from its
// true start.
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
        if (!next || *next == 0) return;
        const auto count = block_.number(*next, 2);
        if (count && *count <= kMaxIfd1) walk(*next);
    }

private:
    // Returns the offset of the next directory, or nullopt if the block ends before it.
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
            default:
                return;
        }
    }

    // Zero counts as not found, so it does not keep a later value out.
    template <typename Number>
    void keep_first(Number& field, Number value) {
        if (field == 0) field = value;
    }

    // Only where there is no frame header: that one says what a decoder gives.
    void take_side(const Entry& entry, std::int32_t& side) {
        const std::uint32_t value = block_.value_of(entry);
        if (!size_known_ && value <= INT32_MAX) keep_first(side, static_cast<std::int32_t>(value));
    }

    // The text up to its NUL, or all of it where the NUL was left out.
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

// Marker, length, "Exif" and two zeros, byte order and magic number. The segment's length counts them from itself on.
constexpr std::size_t kHeadBytes = 14;
constexpr std::uint32_t kReadOfSegment = 12;
constexpr std::uint32_t kLeastSegment = 16 + 12;  // in a shorter one there is no room for a directory

// If the segment at offset has this marker, the offset of the next one.
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

// A camera whose clock was never set writes a lower year, or none.
constexpr std::int32_t kFirstYear = 1931;

// Cameras write "2005:07:14 10:00:00", clients expect "2005-07-14".
std::string listed_date(const Text& camera_date, std::time_t modified) {
    if (!camera_date || text_int(*camera_date) < kFirstYear) return date_text(modified);
    std::string date = camera_date->substr(0, 10);
    for (const std::size_t separator : {4U, 7U})
        if (separator < date.size()) date[separator] = '-';
    return date;
}

}  // namespace

void exif_read_block(FileWindow& file, PictureInfo& info) {
    if (as_text(file.at(0, 2)) != "\xFF\xD8") return;
    // Some programs write a comment before the block, and those that also write a JFIF header put it there, too.
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
    // Up to its very end: programs that write few tags put the date last. A segment has at most 64 KiB.
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
