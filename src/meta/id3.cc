// A tag of version 2 is a header of ten bytes (with the size of all that follows) and then frames: an id, a size, and
// in versions 3 and 4 two bytes of flags. TagWalk goes over the frames of one tag, and over further tags that follow
// it, and puts what kFrames knows into the record; everything else is stepped over. A picture is only located here,
// never read.
//
// There are two positions: offset_ is where we read the file, position counts through the frames of the current tag.
// They differ in a second tag only, whose positions count from the start of the file all the same.
#include "meta/id3.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include "core/bytes.h"
#include "core/str.h"
#include "meta/embedded_picture.h"
#include "meta/file_window.h"
#include "meta/tag_text.h"

namespace {

constexpr std::size_t kTagHeaderBytes = 10;
constexpr std::uint32_t kExtendedHeader = 0x40;  // in the tag's flags
constexpr std::uint32_t kTextLimit = 1024;       // longer frames are no titles
// As many headers as the largest tag can hold. A second tag or an extended header can point back into what was already
// read; this bounds how often such a file is walked round.
constexpr int kMaxHeaders = kTagLimit / kTagHeaderBytes;

struct FrameLayout {
    std::size_t id_bytes, size_bytes, flag_bytes;
    std::size_t header_bytes() const { return id_bytes + size_bytes + flag_bytes; }
};
constexpr FrameLayout kLayoutV22{3, 3, 0};
constexpr FrameLayout kLayoutV23{4, 4, 2};  // and v2.4

// Up to the first NUL.
std::string_view terminated(std::string_view text) {
    return text.substr(0, text.find('\0'));
}

std::string trimmed(std::string_view text) {
    return std::string{str_trim_right(terminated(text))};
}

// What a frame sets. Everything but pictures and numbers is a text field.
struct FrameRow {
    std::string_view id;
    bool whole;                      // the id must be this one, not only begin with it
    Text Id3v2Tag::*text = nullptr;  // the field that takes the text
    bool picture = false, track = false;
};
// The first row that fits counts. Most rows mean all ids that begin alike: TYE and TYER, TAL and TALB. Kept on purpose:
// "TCO" is any but TCOM, so the copyright text of a TCOP frame that follows the genre becomes the genre.
constexpr FrameRow kFrames[] = {
    {"TCOM", true},
    {"TCO", false, &Id3v2Tag::genre},
    {"TYE", false, &Id3v2Tag::year},
    {"TAL", false, &Id3v2Tag::album},
    {"TT2", false, &Id3v2Tag::title},
    {"TIT2", true, &Id3v2Tag::title},
    {"TP1", false, &Id3v2Tag::artist},
    {"TPE1", true, &Id3v2Tag::artist},
    {.id = "PIC", .whole = false, .picture = true},
    {.id = "APIC", .whole = true, .picture = true},
    {.id = "TRK", .whole = false, .track = true},
    {.id = "TRCK", .whole = true, .track = true},
};
constexpr FrameRow kOtherFrame{"", false};

const FrameRow& frame_row(std::string_view id) {
    const auto fits = [id](const FrameRow& row) { return row.whole ? id == row.id : id.starts_with(row.id); };
    const auto* const row = std::ranges::find_if(kFrames, fits);
    return row != std::end(kFrames) ? *row : kOtherFrame;
}

class TagWalk {
public:
    TagWalk(FileWindow& file, TagCharset charset, Id3v24Sizes v24_sizes)
        : file_(file), charset_(charset), v24_sizes_(v24_sizes) {}

    Id3v2Tag run() {
        while (read_tag()) {
        }
        return std::move(tag_);
    }

private:
    // Takes n bytes at the current file position; fewer at the end of the file, and then the position is there.
    Bytes take(std::size_t n) {
        const Bytes bytes = file_.at(offset_, n);
        offset_ += bytes.size();
        return bytes;
    }

    bool may_read_header() { return headers_++ < kMaxHeaders; }

    // Reads the tag at the current file position. False if there is none, or if no other can follow.
    bool read_tag() {
        const Bytes header = take(kTagHeaderBytes);
        if (header.size() < kTagHeaderBytes || !may_read_header()) return false;
        ByteCursor cursor{header};
        if (as_text(cursor.take(3).value_or(Bytes{})) != "ID3") return false;
        const std::uint32_t version = cursor.big_endian(1).value_or(0);
        if (version < 2 || version > 4) return false;
        cursor.skip(1);  // revision
        const std::uint32_t flags = cursor.big_endian(1).value_or(0);
        tag_.end = std::min<std::uint64_t>(id3_syncsafe(cursor.big_endian(4).value_or(0)) + kTagHeaderBytes, kTagLimit);

        // Kept on purpose: in a second tag, too, positions count from the start of the file.
        std::uint64_t position = kTagHeaderBytes;
        if ((flags & kExtendedHeader) != 0) {
            const auto size = ByteCursor{take(4)}.big_endian(4);
            if (!size) return false;
            position = id3_syncsafe(*size) + kTagHeaderBytes;
            if (position > tag_.end) return false;
            offset_ = position;
        }
        syncsafe_sizes_ = version == 4 && v24_sizes_ == Id3v24Sizes::syncsafe;
        read_frames(version == 2 ? kLayoutV22 : kLayoutV23, position);
        return true;
    }

    void read_frames(const FrameLayout& layout, std::uint64_t position) {
        while (position < tag_.end && may_read_header()) {
            const Bytes header = take(layout.header_bytes());
            if (header.size() < layout.header_bytes()) return;
            position += header.size();
            ByteCursor cursor{header};
            const std::string_view id = as_text(cursor.take(layout.id_bytes).value_or(Bytes{}));
            const std::uint32_t number = cursor.big_endian(layout.size_bytes).value_or(0);
            const std::uint32_t size = syncsafe_sizes_ ? id3_syncsafe(number) : number;
            const bool padding = id.starts_with(std::string_view{"\0\0\0", 3});
            if (padding || id.starts_with("3DI") || size == 0 || size > tag_.end) return;
            position += size;
            use_frame(frame_row(id), size, position);
        }
    }

    // The file position is at the frame's data; position is the frame's end.
    void use_frame(const FrameRow& row, std::uint32_t size, std::uint64_t position) {
        if (row.text != nullptr) {
            tag_.*row.text = read_text(size);
        } else if (row.track) {
            if (const Text text = read_text(size)) tag_.track = text_int(*text);
        } else {
            if (row.picture) tag_.picture_offset = static_cast<std::uint32_t>(position - size);
            offset_ = position;
        }
    }

    Text read_text(std::uint32_t size) {
        if (size > kTextLimit) {
            offset_ += size;
            return std::nullopt;
        }
        const Bytes data = take(size);
        return data.size() == size ? id3_frame_text(data, charset_) : std::nullopt;
    }

    FileWindow& file_;
    TagCharset charset_;
    Id3v24Sizes v24_sizes_;
    bool syncsafe_sizes_ = false;  // in the tag that is being read
    std::uint64_t offset_ = 0;     // in the file
    int headers_ = 0;
    Id3v2Tag tag_;
};

// Field offsets of an ID3v1 tag; texts have 30 bytes.
constexpr std::size_t kTitleAt = 3, kArtistAt = 33, kAlbumAt = 63, kYearAt = 93, kTrackAt = 126, kGenreAt = 127;
constexpr std::size_t kFieldBytes = 30;

// ---- covers

struct PictureFrame {
    std::uint64_t data = 0;
    std::uint32_t size = 0;
};

// Kept on purpose: the frame is where its letters first stand after the start of the file, in the tag or not.
std::optional<PictureFrame> find_picture_frame(FileWindow& file, std::uint64_t from, Id3v24Sizes v24_sizes) {
    const auto letters = file.find("PIC", from, from + kMaxCoverSearch);
    if (!letters) return std::nullopt;
    const bool long_form = *letters > 0 && as_text(file.at(*letters - 1, 1)) == "A";
    const std::uint64_t start = long_form ? *letters - 1 : *letters;
    const auto size = file.big_endian(start + (long_form ? 4 : 3), long_form ? 4 : 3);
    if (!size) return std::nullopt;
    const bool syncsafe = v24_sizes == Id3v24Sizes::syncsafe && file.big_endian(from + 3, 1) == 4;
    return PictureFrame{.data = start + (long_form ? 10 : 6), .size = syncsafe ? id3_syncsafe(*size) : *size};
}

}  // namespace

std::uint32_t id3_syncsafe(std::uint32_t value) {
    return (value & 0x7Fu) | (value >> 8 & 0x7Fu) << 7 | (value >> 16 & 0x7Fu) << 14 | (value >> 24 & 0x7Fu) << 21;
}

Id3v2Tag id3_read_v2(FileWindow& file, TagCharset charset, Id3v24Sizes v24_sizes) {
    return TagWalk{file, charset, v24_sizes}.run();
}

Text id3_frame_text(Bytes data, TagCharset charset) {
    if (data.empty()) return std::nullopt;
    const Bytes text = data.subspan(1);
    switch (std::to_integer<int>(data.front())) {
        case 0:  // ISO-8859-1
        case 3:  // UTF-8
            return trimmed(as_text(text));
        case 1: {  // UTF-16: the two bytes of the mark, taken to be there
            const ByteOrder order = text.size() > 1 && text[1] == std::byte{0xFE} ? ByteOrder::little : ByteOrder::big;
            return trimmed(utf16_text(text.subspan(std::min<std::size_t>(text.size(), 2)), order, charset));
        }
        case 2:  // UTF-16BE without a mark
            return trimmed(utf16_text(text, ByteOrder::big, charset));
        default:
            return std::nullopt;
    }
}

std::optional<Id3v1Tag> id3_read_v1(Bytes last_bytes) {
    const std::string_view text = as_text(last_bytes);
    if (text.size() != kId3v1Bytes || !text.starts_with("TAG")) return std::nullopt;
    return Id3v1Tag{.title = trimmed(text.substr(kTitleAt, kFieldBytes)),
                    .artist = trimmed(text.substr(kArtistAt, kFieldBytes)),
                    .album = trimmed(text.substr(kAlbumAt, kFieldBytes)),
                    .year = text_int(terminated(text.substr(kYearAt))),
                    // Kept on purpose: a signed byte, so 200 is listed as -56.
                    .track = static_cast<std::int8_t>(std::to_integer<std::uint8_t>(last_bytes[kTrackAt])),
                    .genre = std::to_integer<std::int32_t>(last_bytes[kGenreAt])};
}

std::optional<EmbeddedPicture> id3_find_picture(FileWindow& file, std::uint64_t from, Id3v24Sizes v24_sizes) {
    constexpr std::array kStart{std::byte{0xFF}, std::byte{0xD8}, std::byte{0xFF}, std::byte{0xE0}};
    const auto frame = find_picture_frame(file, from, v24_sizes);
    if (!frame) return std::nullopt;
    const std::uint64_t end = frame->data + frame->size, search_end = std::min(end, frame->data + kMaxCoverSearch);
    std::size_t matched = 0;
    for (std::uint64_t at = frame->data; at < search_end;) {
        Bytes here = file.from(at);
        if (here.empty()) return std::nullopt;
        here = here.first(static_cast<std::size_t>(std::min<std::uint64_t>(here.size(), search_end - at)));
        for (const std::byte b : here) {
            ++at;
            // Kept on purpose: a byte that ends a match does not begin one.
            matched = b == kStart[matched] ? matched + 1 : 0;
            if (matched == kStart.size()) return EmbeddedPicture{.offset = at - 4, .length = end - at + 4};
        }
    }
    return std::nullopt;
}
