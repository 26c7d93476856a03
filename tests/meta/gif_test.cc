#include "meta/gif.h"

#include <gtest/gtest.h>

// By a GIF writer of others: one colour at first, then noise up to codes of 12 bits; interlaced, colour 7 transparent.
TEST(Gif, OfAnotherProgramIsDecodedExactly) {
    GifPicture picture;
    ASSERT_TRUE(gif_load(PELORAMA_FUZZ_CORPUS "/fuzz_gif/noise", picture));
    ASSERT_EQ(std::pair(picture.width, picture.height), std::pair(200, 150));
    std::uint32_t state = 1, differences = 0;
    for (std::size_t i = 0; i < 200 * 150; ++i) {
        state = state * 1103515245 + 12345;
        const std::uint32_t value = i < 10'000 ? 1 : (state >> 16) % 200;
        const std::uint8_t* const pixel = picture.rgb.pixels.get() + 3 * i;
        const bool same = pixel[0] == value && pixel[1] == 255 - value && pixel[2] == (value ^ 0x55);
        if (!same || picture.mask[i] != (value == 7 ? 0 : 1)) ++differences;
    }
    EXPECT_EQ(differences, 0u);
    // Without a file that is one, 10 by 10.
    EXPECT_FALSE(gif_load("/nowhere.gif", picture));
    EXPECT_EQ(std::pair(picture.width, picture.height), std::pair(10, 10));
}
