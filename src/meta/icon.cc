#include "meta/icon.h"

#include <cstdint>
#include "meta/scale.h"

namespace {

constexpr int kWidth = 168, kHeight = 112;

struct Colour {
    std::uint8_t red, green, blue;
};
constexpr Colour kBackground{24, 40, 72}, kOutline{120, 80, 16}, kPaper{244, 244, 236};

struct Box {
    int left, top, right, bottom;  // right and bottom are outside
};

// A gradient from the upper colour to the lower one.
void fill(RgbPicture& picture, const Box& box, Colour upper, Colour lower) {
    const int rows = box.bottom - box.top;
    for (int y = box.top; y < box.bottom; ++y) {
        const int down = y - box.top;
        const auto mix = [&](int from, int to) { return static_cast<std::uint8_t>(from + (to - from) * down / rows); };
        std::uint8_t* pixel = picture.line(y) + box.left * 3;
        for (int x = box.left; x < box.right; ++x, pixel += 3) {
            pixel[0] = mix(upper.red, lower.red);
            pixel[1] = mix(upper.green, lower.green);
            pixel[2] = mix(upper.blue, lower.blue);
        }
    }
}

// The same within a border of two pixels.
void fill_outlined(RgbPicture& picture, const Box& box, Colour upper, Colour lower) {
    fill(picture, box, kOutline, kOutline);
    fill(picture, {box.left + 2, box.top + 2, box.right - 2, box.bottom - 2}, upper, lower);
}

}  // namespace

RgbPicture icon_draw() {
    RgbPicture picture{kWidth, kHeight};
    fill(picture, {0, 0, kWidth, kHeight}, kBackground, kBackground);
    // From the back to the front: tab, back cover, paper, front cover.
    fill_outlined(picture, {38, 14, 88, 40}, {216, 164, 60}, {200, 148, 48});
    fill_outlined(picture, {38, 24, 130, 96}, {216, 164, 60}, {200, 148, 48});
    fill(picture, {46, 32, 122, 60}, kPaper, kPaper);
    fill_outlined(picture, {34, 44, 134, 98}, {255, 214, 110}, {236, 176, 64});
    return picture;
}
