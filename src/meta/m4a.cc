#include "meta/m4a.h"

#include <taglib/mp4file.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/bytes.h"
#include "core/file.h"
#include "core/str.h"
#include "core/time_text.h"
#include "meta/embedded_picture.h"
#include "meta/file_window.h"
#include "meta/media_facts.h"
#include "meta/taglib_stream.h"

namespace {

constexpr std::uint64_t kLeastBox = 8;

// A box header (ISO/IEC 14496-12, section 4.2): a size in 4 bytes and a type in 4. A size of 1 means that 8 bytes with
// the size follow the type, a size of 0 that the box reaches to the end.
struct BoxHeader {
    std::string_view type;           // valid until the next look into the file
    std::uint64_t header_bytes = 0;  // 8 or 16
    std::uint64_t length = 0;        // of the whole box as it says, unchecked
    bool to_end = false;             // the length is whatever is left
};

// The header at this offset; nullopt where the file ends within it.
std::optional<BoxHeader> box_header_at(FileWindow& file, std::uint64_t offset) {
    constexpr std::uint64_t kShort = 8, kLong = 16;
    ByteCursor cursor{file.at(offset, kLong)};
    const auto size = cursor.big_endian(4);
    const auto type = cursor.take(4);
    if (!size || !type) return std::nullopt;
    BoxHeader box{.type = as_text(*type), .header_bytes = kShort, .length = *size, .to_end = *size == 0};
    if (*size != 1) return box;
    const auto high = cursor.big_endian(4), low = cursor.big_endian(4);
    if (!high || !low) return std::nullopt;
    box.header_bytes = kLong;
    box.length = std::uint64_t{*high} << 32 | *low;
    return box;
}

// ---- the check before TagLib

// The boxes that TagLib looks into.
constexpr std::array<std::string_view, 11> kContainers = {"moov", "udta", "mdia", "meta", "ilst", "stbl",
                                                          "minf", "moof", "traf", "trak", "stsd"};

// Walks the boxes exactly as TagLib does, in broken files too: children that reach out of their box carry the walk with
// them, and the next box is looked for where they end.
class BoxCheck {
public:
    explicit BoxCheck(FileWindow& file) : file_(file) {}

    // False when the boxes are too deep or too many.
    bool run() {
        while (at_ < file_.size()) {
            const Step step = box(1);
            if (step != Step::on) return step == Step::end;
        }
        return true;
    }

private:
    enum class Step { on, end, refuse };

    Step box(int depth) {
        if (depth > kDeepestBox || ++boxes_ > kMostBoxes) return Step::refuse;
        const std::uint64_t begin = at_;
        const auto header = box_header_at(file_, begin);
        if (!header) return Step::end;
        const bool container = std::ranges::find(kContainers, header->type) != kContainers.end();
        const bool meta = header->type == "meta", samples = header->type == "stsd";
        at_ = begin + header->header_bytes;
        const std::uint64_t length = header->to_end ? file_.size() - begin : header->length;
        if (length < kLeastBox) return Step::end;
        const std::uint64_t end = length > file_.size() - begin ? file_.size() : begin + length;
        if (!container) {
            at_ = end;
            return Step::on;
        }
        // A list of samples has a version and a number before its children; "meta" mostly has a version.
        if (samples) at_ += 8;
        if (meta && !is_first_of_meta(as_text(file_.at(at_ + 4, 4)))) at_ += 4;
        while (at_ < end) {
            const Step step = box(depth + 1);
            if (step != Step::on) return step;
        }
        return Step::on;
    }

    static bool is_first_of_meta(std::string_view type) {
        return type == "hdlr" || type == "ilst" || type == "mhdr" || type == "ctry" || type == "lang";
    }

    FileWindow& file_;
    std::uint64_t at_ = 0;
    int boxes_ = 0;
};

// TagLib has no missing texts, only empty ones.
Text text_of(const TagLib::String& text) {
    return text.isEmpty() ? Text{} : Text{text.to8Bit(true)};
}

void use_tag(MediaFacts& tags, const TagLib::MP4::Tag& tag) {
    tags.title = text_of(tag.title());
    tags.artist = text_of(tag.artist());
    tags.album = text_of(tag.album());
    tags.genre = text_of(tag.genre());
    if (tag.year() > 0) tags.date = date_of_year(static_cast<std::int32_t>(tag.year()));
    tags.track = static_cast<std::int32_t>(tag.track());
    tags.album_art = tag.contains("covr") ? 1 : 0;
}

// ---- the cover

constexpr int kMostSteps = 10'000;  // boxes of one level

struct Extent {
    std::uint64_t begin = 0, end = 0;
};

struct Box {
    std::string_view type;  // valid until the next look into the file
    Extent data;
};

// Stricter than TagLib: a box that reaches out of its parent is none.
std::optional<Box> box_within(FileWindow& file, const Extent& within) {
    const auto header = box_header_at(file, within.begin);
    if (!header) return std::nullopt;
    const std::uint64_t room = within.end - within.begin;
    const std::uint64_t length = header->to_end ? room : header->length;
    if (length < header->header_bytes || length > room) return std::nullopt;
    return Box{.type = header->type, .data = {within.begin + header->header_bytes, within.begin + length}};
}

std::optional<Extent> find_box(FileWindow& file, Extent within, std::string_view type) {
    for (int step = 0; step < kMostSteps && within.begin < within.end; ++step) {
        const auto box = box_within(file, within);
        if (!box) return std::nullopt;
        if (box->type == type) return box->data;
        within.begin = box->data.end;
    }
    return std::nullopt;
}

// A "meta" box has a version and flags before its children, but not every writer puts them there.
Extent after_version(FileWindow& file, Extent meta) {
    const auto child = box_within(file, meta);
    const bool has_version = !child || child->type != "hdlr";
    meta.begin = std::min(meta.begin + (has_version ? 4 : 0), meta.end);
    return meta;
}

}  // namespace

MediaFacts m4a_read_tags(FileWindow& window) {
    MediaFacts tags;
    if (!BoxCheck{window}.run()) return tags;
    TagLibStream stream{window};
    const TagLib::MP4::File file{&stream};
    if (!file.isValid()) return tags;
    if (const auto* const tag = file.tag()) use_tag(tags, *tag);
    const auto* const properties = file.audioProperties();
    if (properties != nullptr && properties->lengthInMilliseconds() > 0) {
        tags.duration = format_duration(properties->lengthInMilliseconds());
        tags.bitrate = properties->bitrate();
    }
    return tags;
}

MediaFacts m4a_read_tags(const std::string& path) {
    return media_facts_of_file(path, [](const File& file, std::uint64_t size) {
        FileWindow window{file, size};
        return m4a_read_tags(window);
    });
}

std::optional<EmbeddedPicture> m4a_find_picture(FileWindow& file) {
    std::optional<Extent> at = Extent{0, file.size()};
    for (const std::string_view type : {"moov", "udta", "meta", "ilst", "covr", "data"}) {
        at = find_box(file, *at, type);
        if (!at) return std::nullopt;
        if (type == "meta") at = after_version(file, *at);
    }
    constexpr std::uint64_t kTypeAndLocale = 8;
    if (at->end - at->begin <= kTypeAndLocale) return std::nullopt;
    EmbeddedPicture picture{.offset = at->begin + kTypeAndLocale, .length = at->end - at->begin - kTypeAndLocale};
    // By its first bytes: the type that the box tells is wrong often enough.
    if (as_text(file.at(picture.offset, 4)) == "\x89PNG") picture.mime = "image/png";
    return picture;
}
