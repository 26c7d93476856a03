#include "meta/gif.h"

#include <gtest/gtest.h>

using namespace std::string_literals;

namespace {

std::string u16(int value) {
    return {static_cast<char>(value & 0xFF), static_cast<char>(value >> 8)};
}
std::string image(int width, int height, const std::string& data, int flags = 0, const std::string& table = {}) {
    return "," + u16(0) + u16(0) + u16(width) + u16(height) + static_cast<char>(flags) + table + data;
}
std::string gif(const std::string& blocks) {
    return "GIF89a" + u16(0) + u16(0) + "\0\0\0"s + blocks;
}
// Codes of three bits: clear, index 1, another one; then a terminator.
std::string codes(unsigned other) {
    return "\x02\x02"s + static_cast<char>(4 | 1 << 3 | (other & 3) << 6) + static_cast<char>(other >> 2) + '\0';
}

// By a GIF writer of others: one colour at first, then noise up to codes of 12 bits; interlaced, colour 7 transparent.
TEST(Gif, OfAnotherProgramIsDecodedExactly) {
    GifPicture picture;
    ASSERT_TRUE(gif_load(PELORAMA_FUZZ_CORPUS "/fuzz_gif/noise", picture));
    ASSERT_EQ(picture.width * picture.height, 200 * 150);
    std::uint32_t state = 1, differences = 0;
    for (std::size_t i = 0; i < 200 * 150; ++i) {
        state = state * 1103515245 + 12345;
        const std::uint32_t value = i < 10'000 ? 1 : (state >> 16) % 200;
        const std::uint8_t* const pixel = picture.rgb.pixels.get() + 3 * i;
        const bool same = pixel[0] == value && pixel[1] == 255 - value && pixel[2] == (value ^ 0x55);
        if (!same || picture.mask[i] != (value == 7 ? 0 : 1)) ++differences;
    }
    EXPECT_EQ(differences, 0u);
}

TEST(Gif, IsRefusedWhereItIsNone) {
    const std::string good = image(2, 1, codes(1));
    GifPicture picture;
    ASSERT_TRUE(gif_decode(as_bytes(gif(good)), picture));
    for (const std::string& file :
         {""s, "GIF88a"s + gif(good).substr(6), gif(""), gif(";"), gif("x" + good), gif(good.substr(0, 8)),
          gif(image(0, 5, codes(1))), gif(image(65535, 65535, codes(1))), gif(image(1, 1, "\x09\x00"s)),
          gif(image(1, 1, "\x01\x00"s)), gif(image(1, 1, codes(1), 0x81, "short"))}) {
        EXPECT_FALSE(gif_decode(as_bytes(file), picture)) << file.size();
        EXPECT_EQ(picture.width * picture.height, 100);
    }
}

}  // namespace
