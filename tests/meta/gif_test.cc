#include "meta/gif.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "support/scratch.h"

using namespace std::string_literals;

namespace {

std::string u16(int value) {
    return {static_cast<char>(value & 0xFF), static_cast<char>(value >> 8)};
}

// Index values compressed as GIF89a, appendix F, says, in sub-blocks of at most block_bytes.
std::string lzw(const std::vector<int>& indexes, unsigned width, std::size_t block_bytes = 255) {
    std::string bytes;
    std::uint32_t bits = 0;
    unsigned bit_count = 0;
    const auto put = [&](int code, unsigned code_width) {
        bits |= static_cast<std::uint32_t>(code) << bit_count;
        for (bit_count += code_width; bit_count >= 8; bit_count -= 8, bits >>= 8)
            bytes += static_cast<char>(bits & 0xFF);
    };
    const int clear = 1 << width;
    std::map<std::vector<int>, int> codes;
    unsigned code_width = width + 1;
    int next = clear + 2;
    const auto start_over = [&] {
        put(clear, code_width);
        codes.clear();
        for (int i = 0; i < clear; ++i) codes[{i}] = i;
        code_width = width + 1;
        next = clear + 2;
    };
    start_over();
    std::vector<int> text;
    for (const int index : indexes) {
        std::vector<int> longer = text;
        longer.push_back(index);
        if (codes.contains(longer)) {
            text = longer;
            continue;
        }
        put(codes[text], code_width);
        if (next == 4096) {
            start_over();
        } else {
            codes[longer] = next++;
            if (next == (1 << code_width) + 1 && code_width < 12) ++code_width;
        }
        text = {index};
    }
    if (!text.empty()) put(codes[text], code_width);
    if (next == 1 << code_width && code_width < 12) ++code_width;
    put(clear + 1, code_width);
    put(0, 7);
    std::string out{static_cast<char>(width)};
    for (std::size_t at = 0; at < bytes.size(); at += block_bytes) {
        const std::string block = bytes.substr(at, block_bytes);
        out += static_cast<char>(block.size()) + block;
    }
    return out + '\0';
}

std::string image(int width, int height, const std::string& data, int flags = 0, const std::string& table = {}) {
    return "," + u16(0) + u16(0) + u16(width) + u16(height) + static_cast<char>(flags) + table + data;
}
std::string gif(const std::string& blocks, int flags = 0, const std::string& table = {}) {
    return "GIF89a" + u16(0) + u16(0) + static_cast<char>(flags) + "\0\0"s + table + blocks;
}
const std::string kTable{"\x01\x02\x03\x0A\x0B\x0C\x14\x15\x16\x1E\x1F\x20", 12};  // four colours
constexpr int kWithTable = 0x81;

bool decode(const std::string& file, GifPicture& picture) {
    return gif_decode(as_bytes(file), picture);
}
std::vector<int> reds(const GifPicture& picture) {
    std::vector<int> out;
    for (std::size_t i = 0; i < picture.rgb.bytes(); i += 3) out.push_back(picture.rgb.pixels[i]);
    return out;
}

TEST(Gif, DecodesTheFirstImage) {
    GifPicture picture;
    const std::string first = image(3, 2, lzw({0, 1, 2, 3, 2, 1}, 2));
    ASSERT_TRUE(decode(gif(first + image(1, 1, lzw({0}, 2)) + ";", kWithTable, kTable), picture));
    EXPECT_EQ(picture.width, 3);
    EXPECT_EQ(picture.height, 2);
    EXPECT_EQ(reds(picture), (std::vector<int>{1, 10, 20, 30, 20, 10}));
    EXPECT_EQ(picture.rgb.pixels[5], 12);
    EXPECT_EQ(picture.mask, std::vector<std::uint8_t>(6, 1));

    // A table of its own, and none at all: the sixteen colours, again and again.
    ASSERT_TRUE(decode(gif(image(1, 1, lzw({1}, 2), kWithTable, kTable)), picture));
    EXPECT_EQ(reds(picture), std::vector<int>{10});
    ASSERT_TRUE(decode(gif(image(3, 1, lzw({9, 25, 31}, 5))), picture));
    EXPECT_EQ(reds(picture), (std::vector<int>{255, 255, 255}));
    EXPECT_EQ(picture.rgb.pixels[4], 0);
    EXPECT_EQ(picture.rgb.pixels[7], 255);
}

TEST(Gif, DecodesLongAndRepetitiveData) {
    for (const int colours : {2, 4, 200}) {
        std::vector<int> indexes;
        unsigned state = 1;
        for (int i = 0; i < 200 * 150; ++i) {
            state = state * 1103515245 + 12345;
            indexes.push_back(i < 10000 ? 1 : static_cast<int>(state >> 16) % colours);
        }
        std::string table;
        for (int i = 0; i < 256; ++i) table += std::string(3, static_cast<char>(i));
        for (const std::size_t block : {1U, 7U, 255U}) {
            GifPicture picture;
            ASSERT_TRUE(decode(gif(image(200, 150, lzw(indexes, 8, block)), 0x87, table), picture));
            EXPECT_EQ(reds(picture), indexes);
        }
    }
}

TEST(Gif, KnowsInterlacingAndTransparency) {
    std::vector<int> lines;
    for (const int line : {0, 8, 4, 2, 6, 1, 3, 5, 7}) lines.push_back(line);  // a column of nine lines
    const auto control = [](int flags, int index) {
        return "!\xF9\x04" + std::string{static_cast<char>(flags)} + "\0\0"s + static_cast<char>(index) + '\0';
    };
    std::string table;
    for (int i = 0; i < 16; ++i) table += std::string(3, static_cast<char>(i));
    GifPicture picture;
    ASSERT_TRUE(decode(gif("!\xFE\x03"
                           "abc\0"s +
                               control(1, 4) + image(1, 9, lzw(lines, 4), 0x40),
                           0x83, table),
                       picture));
    EXPECT_EQ(reds(picture), (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(picture.mask, (std::vector<std::uint8_t>{1, 1, 1, 1, 0, 1, 1, 1, 1}));
    ASSERT_TRUE(decode(gif(control(0, 4) + image(1, 9, lzw(lines, 4)), 0x83, table), picture));
    EXPECT_EQ(picture.mask, std::vector<std::uint8_t>(9, 1));
}

TEST(Gif, RefusesWhatIsNone) {
    const std::string good = image(3, 2, lzw({0, 1, 2, 3, 2, 1}, 2));
    for (const std::string& file :
         {""s, "GIF"s, "GIF88a"s + gif(good).substr(6), gif(""), gif(";"), gif("x" + good), gif(good.substr(0, 8)),
          gif(image(0, 5, lzw({}, 2))), gif(image(65535, 65535, lzw({}, 2))), gif(image(1, 1, "\x09\x00"s)),
          gif(image(1, 1, "\x01\x00"s)), gif(image(1, 1, lzw({0}, 2), kWithTable, "short"))}) {
        GifPicture picture;
        EXPECT_FALSE(decode(file, picture)) << file.size();
        EXPECT_EQ(picture.width, 10);
        EXPECT_EQ(picture.height, 10);
    }
}

TEST(Gif, LeavesWhatCannotBeDecodedTransparent) {
    // Clear, index 1, then a code that nobody has defined.
    const std::string bad =
        "\x02\x02"s + static_cast<char>(4 | 1 << 3 | (7 & 3) << 6) + static_cast<char>(7 >> 2) + '\0';
    GifPicture picture;
    ASSERT_TRUE(decode(gif(image(2, 2, bad), kWithTable, kTable), picture));
    EXPECT_EQ(picture.mask, (std::vector<std::uint8_t>{1, 0, 0, 0}));
    EXPECT_EQ(reds(picture), (std::vector<int>{10, 0, 0, 0}));

    const std::string whole = gif(image(3, 2, lzw({0, 1, 2, 3, 2, 1}, 2)), kWithTable, kTable);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const bool decoded = decode(whole.substr(0, length), picture);
        EXPECT_EQ(picture.mask.size(), decoded ? 6u : 0u) << length;
    }
}

TEST(Gif, IsLoadedFromAFile) {
    const ScratchDirectory scratch;
    GifPicture picture;
    EXPECT_TRUE(gif_load(scratch.write("a.gif", gif(image(1, 1, lzw({0}, 2)))), picture));
    EXPECT_FALSE(gif_load(scratch / "none.gif", picture));
    EXPECT_EQ(picture.width, 10);
}

}  // namespace
