#include "meta/m4a.h"

#include <taglib/mp4file.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <string_view>

#include "core/bytes.h"
#include "core/time_text.h"
#include "meta/taglib_stream.h"

namespace {

constexpr std::uint64_t kHeader = 8;

// The boxes that TagLib looks into.
constexpr std::array<std::string_view, 11> kContainers = {"moov", "udta", "mdia", "meta", "ilst", "stbl",
                                                          "minf", "moof", "traf", "trak", "stsd"};

// Goes over the boxes as TagLib does, also over those of a broken file: children that reach out of their box carry the
// walk with them, and what follows is looked for where it then stands.
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
        ByteCursor cursor{file_.at(begin, 2 * kHeader)};
        const auto size = cursor.big_endian(4);
        const auto type = cursor.take(4);
        if (!size || !type) return Step::end;
        const bool container = std::ranges::find(kContainers, as_text(*type)) != kContainers.end();
        const bool meta = as_text(*type) == "meta", samples = as_text(*type) == "stsd";
        std::uint64_t length = *size;
        at_ = begin + kHeader;
        if (*size == 0) length = file_.size() - begin;
        if (*size == 1) {
            const auto high = cursor.big_endian(4), low = cursor.big_endian(4);
            if (!high || !low) return Step::end;
            length = std::uint64_t{*high} << 32 | *low;
            at_ += kHeader;
        }
        if (length < kHeader) return Step::end;
        const std::uint64_t end = length > file_.size() - begin ? file_.size() : begin + length;
        if (!container) {
            at_ = end;
            return Step::on;
        }
        // A list of samples has a version and a number in front of its children, "meta" a version, mostly.
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

void use_tag(AudioTags& tags, const TagLib::MP4::Tag& tag) {
    tags.title = text_of(tag.title());
    tags.artist = text_of(tag.artist());
    tags.album = text_of(tag.album());
    tags.genre = text_of(tag.genre());
    if (tag.year() > 0) tags.date = text_format(12, "%04d-01-01", static_cast<std::int32_t>(tag.year()));
    tags.track = static_cast<std::int32_t>(tag.track());
    tags.album_art = tag.contains("covr") ? 1 : 0;
}

}  // namespace

AudioTags m4a_read_tags(FileWindow& window) {
    AudioTags tags;
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
