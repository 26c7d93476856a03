#include "meta/container_picture.h"

#include <algorithm>
#include <string_view>

#include "core/bytes.h"

namespace {

constexpr int kMostSteps = 10'000;  // boxes of one level

struct Extent {
    std::uint64_t begin = 0, end = 0;
};

struct Box {
    std::string_view type;  // valid until the next look into the file
    Extent data;
};

// Size in 4 bytes, type in 4; a size of 1 has 8 bytes behind the type, a size of 0 reaches to the end.
std::optional<Box> box_at(FileWindow& file, const Extent& within) {
    constexpr std::uint64_t kShort = 8, kLong = 16;
    const Bytes header = file.at(within.begin, kLong);
    ByteCursor cursor{header};
    const auto size = cursor.big_endian(4);
    const auto type = cursor.take(4);
    if (!size || !type) return std::nullopt;
    std::uint64_t length = *size, header_length = kShort;
    if (*size == 1) {
        const auto high = cursor.big_endian(4), low = cursor.big_endian(4);
        if (!high || !low) return std::nullopt;
        length = std::uint64_t{*high} << 32 | *low;
        header_length = kLong;
    }
    const std::uint64_t room = within.end - within.begin;
    if (*size == 0) length = room;
    if (length < header_length || length > room) return std::nullopt;
    return Box{.type = as_text(*type), .data = {within.begin + header_length, within.begin + length}};
}

std::optional<Extent> find_box(FileWindow& file, Extent within, std::string_view type) {
    for (int step = 0; step < kMostSteps && within.begin < within.end; ++step) {
        const auto box = box_at(file, within);
        if (!box) return std::nullopt;
        if (box->type == type) return box->data;
        within.begin = box->data.end;
    }
    return std::nullopt;
}

// A "meta" box has a version and flags in front of its children, but not every writer puts them there.
Extent behind_version(FileWindow& file, Extent meta) {
    const auto child = box_at(file, meta);
    const bool has_version = !child || child->type != "hdlr";
    meta.begin = std::min(meta.begin + (has_version ? 4 : 0), meta.end);
    return meta;
}

}  // namespace

std::optional<EmbeddedPicture> m4a_find_picture(FileWindow& file) {
    std::optional<Extent> at = Extent{0, file.size()};
    for (const std::string_view type : {"moov", "udta", "meta", "ilst", "covr", "data"}) {
        at = find_box(file, *at, type);
        if (!at) return std::nullopt;
        if (type == "meta") at = behind_version(file, *at);
    }
    constexpr std::uint64_t kTypeAndLocale = 8;
    if (at->end - at->begin <= kTypeAndLocale) return std::nullopt;
    EmbeddedPicture picture{.offset = at->begin + kTypeAndLocale, .length = at->end - at->begin - kTypeAndLocale};
    // By its first bytes: the type that is told is wrong often enough.
    if (as_text(file.at(picture.offset, 4)) == "\x89PNG") picture.mime = "image/png";
    return picture;
}
