// How it works
//
//     signature | screen, flags | [colour table] | extensions ... | image descriptor | [colour table] | data
//
// gif_decode() walks the blocks up to the first image and remembers two things on the way: the colour table, and the
// transparent colour from a graphic control extension. The image data then passes through a chain, each asking the one
// before it:
//
//     next_sub_block (up to 255 bytes) -> CodeReader (codes of 3 to 12 bits) -> LzwDecoder (colour indexes)
//         -> decode_image (pixels and mask, in the LineOrder)
#include "meta/gif.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string>

#include "core/bytes.h"
#include "core/file.h"

namespace {

constexpr std::int64_t kMaxPixels = 4096 * 4096;
constexpr std::int64_t kMaxFileBytes = 64 * 1024 * 1024;
constexpr int kNoGifSide = 10;

constexpr std::uint32_t kImage = 0x2C, kExtension = 0x21, kGraphicControl = 0xF9;
constexpr std::uint32_t kTableFollows = 0x80, kInterlaced = 0x40, kTableSizeBits = 0x07, kHasTransparency = 0x01;

struct Colour {
    std::uint8_t red = 0, green = 0, blue = 0;
};
using Palette = std::array<Colour, 256>;

// The sixteen colours of text screens, for files without a colour table.
constexpr std::array<Colour, 16> kBuiltIn{{{0, 0, 0},
                                           {128, 0, 0},
                                           {0, 128, 0},
                                           {128, 128, 0},
                                           {0, 0, 128},
                                           {128, 0, 128},
                                           {0, 128, 128},
                                           {192, 192, 192},
                                           {128, 128, 128},
                                           {255, 0, 0},
                                           {0, 255, 0},
                                           {255, 255, 0},
                                           {0, 0, 255},
                                           {255, 0, 255},
                                           {0, 255, 255},
                                           {255, 255, 255}}};

Palette built_in_palette() {
    Palette palette;
    for (std::size_t i = 0; i < palette.size(); ++i) palette[i] = kBuiltIn[i % kBuiltIn.size()];
    return palette;
}

// Reads a colour table, whose size is in the flags. Colours above it stay what they were.
bool read_palette(ByteCursor& file, std::uint32_t flags, Palette& palette) {
    const std::size_t colours = std::size_t{2} << (flags & kTableSizeBits);
    const auto table = file.take(colours * 3);
    if (!table) return false;
    const auto value = [&](std::size_t i) { return std::to_integer<std::uint8_t>((*table)[i]); };
    for (std::size_t i = 0; i < colours; ++i) palette[i] = {value(i * 3), value(i * 3 + 1), value(i * 3 + 2)};
    return true;
}

// Image data and extensions are chains of sub-blocks, each with its length in front and an empty one at the end.
// Returns nullopt at that one, and at the end of the file.
std::optional<Bytes> next_sub_block(ByteCursor& file) {
    const auto length = file.big_endian(1);
    if (!length || *length == 0) return std::nullopt;
    return file.take(std::min<std::size_t>(*length, file.left()));
}

void skip_sub_blocks(ByteCursor& file) {
    while (next_sub_block(file)) {
    }
}

// Reads codes of any width, least significant bit first, that run on from one sub-block to the next.
class CodeReader {
public:
    explicit CodeReader(ByteCursor& file) : file_(file) {}

    std::optional<std::uint32_t> next(unsigned width) {
        while (bit_count_ < width) {
            const auto byte = next_byte();
            if (!byte) return std::nullopt;
            bits_ |= *byte << bit_count_;
            bit_count_ += 8;
        }
        const std::uint32_t code = bits_ & ((1U << width) - 1);
        bits_ >>= width;
        bit_count_ -= width;
        return code;
    }

private:
    std::optional<std::uint32_t> next_byte() {
        if (at_ == block_.size()) {
            const auto block = next_sub_block(file_);
            if (!block || block->empty()) return std::nullopt;
            block_ = *block;
            at_ = 0;
        }
        return std::to_integer<std::uint32_t>(block_[at_++]);
    }

    ByteCursor& file_;
    Bytes block_;
    std::size_t at_ = 0;
    std::uint32_t bits_ = 0;
    unsigned bit_count_ = 0;
};

// The variable-length-code LZW of GIF89a, appendix F. A code stands for a text of colour indexes. A code above
// end_code() is stored as the code of its text without the last index (prefix_) and that last index (suffix_). Every
// code that is read defines another one: the previous text, followed by the first index of this one.
class LzwDecoder {
public:
    LzwDecoder(ByteCursor& file, unsigned least_width) : codes_(file), least_width_(least_width) { clear(); }

    // The next colour indexes, at least one. Empty at the end of the data and at a code that is not defined.
    std::span<const std::uint8_t> next() {
        for (;;) {
            const auto code = codes_.next(width_);
            if (!code || *code == end_code()) return {};
            if (*code == clear_code()) {
                clear();
                continue;
            }
            return text_of(*code);
        }
    }

private:
    static constexpr std::uint32_t kMaxCodes = 4096;
    static constexpr unsigned kMaxWidth = 12;

    std::uint32_t clear_code() const { return 1U << least_width_; }
    std::uint32_t end_code() const { return clear_code() + 1; }

    // Forgets all codes that were defined. Codes begin one bit wider than colours: two more of them have a meaning.
    void clear() {
        width_ = least_width_ + 1;
        next_code_ = end_code() + 1;
        has_previous_ = false;
    }

    std::span<const std::uint8_t> text_of(std::uint32_t code) {
        const bool not_yet = code == next_code_ && has_previous_ && next_code_ < kMaxCodes;
        if (code >= next_code_ && !not_yet) return {};

        // The text is built from its end, along the prefixes. A code that this very step will define is the previous
        // text followed by that text's own first index.
        std::size_t start = text_.size();
        if (not_yet) text_[--start] = first_;
        std::uint32_t at = not_yet ? previous_ : code;
        for (; at > end_code(); at = prefix_[at]) text_[--start] = suffix_[at];
        first_ = static_cast<std::uint8_t>(at);
        text_[--start] = first_;

        if (has_previous_ && next_code_ < kMaxCodes) {
            prefix_[next_code_] = static_cast<std::uint16_t>(previous_);
            suffix_[next_code_] = first_;
            if (++next_code_ == 1U << width_ && width_ < kMaxWidth) ++width_;
        }
        previous_ = code;
        has_previous_ = true;
        return std::span{text_}.subspan(start);
    }

    CodeReader codes_;
    unsigned least_width_;
    unsigned width_ = 0;
    std::uint32_t next_code_ = 0, previous_ = 0;
    bool has_previous_ = false;
    std::uint8_t first_ = 0;
    std::array<std::uint16_t, kMaxCodes> prefix_{};
    std::array<std::uint8_t, kMaxCodes> suffix_{};
    std::array<std::uint8_t, kMaxCodes + 1> text_{};
};

// The order in which the lines of an image come. An interlaced one comes in four passes (GIF89a, appendix E): every
// eighth line, those in the middle between them, and so on.
class LineOrder {
public:
    LineOrder(int height, bool interlaced) : height_(height), interlaced_(interlaced) {}

    int line() const { return line_; }
    bool done() const { return line_ >= height_; }
    void next() {
        constexpr std::array kStart{0, 4, 2, 1}, kStep{8, 8, 4, 2};
        line_ += interlaced_ ? kStep[pass_] : 1;
        while (interlaced_ && done() && pass_ + 1 < kStart.size()) line_ = kStart[++pass_];
    }

private:
    int height_;
    bool interlaced_;
    std::size_t pass_ = 0;
    int line_ = 0;
};

// Draws the pixels up to the end of the data. The picture is black and transparent where nothing is drawn.
void decode_image(ByteCursor& file, unsigned least_width, const Palette& palette, int transparent, bool interlaced,
                  GifPicture& picture) {
    LzwDecoder decoder{file, least_width};
    LineOrder order{picture.height, interlaced};
    int x = 0;
    while (!order.done()) {
        const std::span<const std::uint8_t> indexes = decoder.next();
        if (indexes.empty()) return;
        for (const std::uint8_t index : indexes) {
            if (order.done()) return;
            std::uint8_t* const pixel = picture.rgb.line(order.line()) + x * 3;
            pixel[0] = palette[index].red;
            pixel[1] = palette[index].green;
            pixel[2] = palette[index].blue;
            picture.mask[static_cast<std::size_t>(order.line()) * static_cast<std::size_t>(picture.width) +
                         static_cast<std::size_t>(x)] = index == transparent ? 0 : 1;
            if (++x < picture.width) continue;
            x = 0;
            order.next();
        }
    }
}

// From the image descriptor to the end of the first image. The image may bring a colour table of its own.
bool read_image(ByteCursor& file, Palette palette, int transparent, GifPicture& picture) {
    if (!file.skip(4)) return false;  // its position on the screen
    const auto width = file.little_endian(2), height = file.little_endian(2), flags = file.big_endian(1);
    if (!width || !height || !flags || *width == 0 || *height == 0) return false;
    if (std::int64_t{*width} * *height > kMaxPixels) return false;
    if ((*flags & kTableFollows) != 0 && !read_palette(file, *flags, palette)) return false;
    const auto least_width = file.big_endian(1);
    if (!least_width || *least_width < 2 || *least_width > 8) return false;

    picture.width = static_cast<int>(*width);
    picture.height = static_cast<int>(*height);
    picture.rgb = RgbPicture{picture.width, picture.height};
    std::memset(picture.rgb.pixels.get(), 0, picture.rgb.bytes());
    picture.mask.assign(picture.rgb.bytes() / 3, 0);
    decode_image(file, *least_width, palette, transparent, (*flags & kInterlaced) != 0, picture);
    return true;
}

// The colour index that is transparent in the next image; -1 for none, `before` if the extension is too short to say.
int read_transparency(ByteCursor& file, int before) {
    const auto block = next_sub_block(file);
    if (!block) return before;
    skip_sub_blocks(file);
    if (block->size() < 4) return before;
    const auto at = [&](std::size_t i) { return std::to_integer<std::uint32_t>((*block)[i]); };
    return (at(0) & kHasTransparency) != 0 ? static_cast<int>(at(3)) : -1;
}

}  // namespace

bool gif_decode(Bytes bytes, GifPicture& picture) {
    picture = {};
    picture.width = picture.height = kNoGifSide;
    ByteCursor file{bytes};
    const auto signature = file.take(6);
    if (!signature || (as_text(*signature) != "GIF87a" && as_text(*signature) != "GIF89a")) return false;
    if (!file.skip(4)) return false;  // the screen's size; the image has its own
    const auto flags = file.big_endian(1);
    if (!flags || !file.skip(2)) return false;
    Palette palette = built_in_palette();
    if ((*flags & kTableFollows) != 0 && !read_palette(file, *flags, palette)) return false;

    int transparent = -1;
    while (const auto block = file.big_endian(1)) {
        if (*block == kImage) return read_image(file, palette, transparent, picture);
        if (*block != kExtension) return false;
        const auto label = file.big_endian(1);
        if (label == kGraphicControl) {
            transparent = read_transparency(file, transparent);
        } else {
            skip_sub_blocks(file);
        }
    }
    return false;
}

bool gif_load(const std::string& path, GifPicture& picture) {
    const File file = file_open_regular(path);
    const auto status = file ? file.status() : std::nullopt;
    std::string bytes;
    if (status && status->size <= kMaxFileBytes) bytes.resize(static_cast<std::size_t>(status->size));
    bytes.resize(file.read_at(0, std::as_writable_bytes(std::span{bytes})));
    return gif_decode(as_bytes(bytes), picture);
}
