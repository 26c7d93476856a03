#include "meta/scale.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <random>
#include <string>

#include "core/str.h"
#include "meta/jpeg_codec.h"
#include "meta/planar.h"
#include "support/scratch.h"

#include <jpeglib.h>

using namespace std::string_literals;

namespace {

// Three bytes a pixel, from the top down.
struct TestPicture {
    TestPicture(int w, int h) : width(w), height(h), rgb(static_cast<std::size_t>(w * h * 3)) {}
    const std::uint8_t* at(int x, int y) const { return rgb.data() + (y * width + x) * 3; }
    int width, height;
    std::vector<std::uint8_t> rgb;
};
// The same in every run.
TestPicture noise_picture(int width, int height, unsigned seed = 1) {
    TestPicture picture{width, height};
    std::mt19937 random{seed};
    for (std::uint8_t& value : picture.rgb) value = static_cast<std::uint8_t>(random());
    return picture;
}
TestPicture plain_picture(int width, int height, const std::array<std::uint8_t, 3>& colour) {
    TestPicture picture{width, height};
    for (std::size_t i = 0; i < picture.rgb.size(); ++i) picture.rgb[i] = colour[i % 3];
    return picture;
}

// As the library itself decodes it; what it cannot decode ends the program with its message.
TestPicture jpeg_pixels(std::string_view jpeg) {
    jpeg_decompress_struct info{};
    jpeg_error_mgr errors;
    info.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&info);
    jpeg_mem_src(&info, reinterpret_cast<const unsigned char*>(jpeg.data()), jpeg.size());
    jpeg_read_header(&info, TRUE);
    info.out_color_space = JCS_RGB;
    jpeg_start_decompress(&info);
    TestPicture out{static_cast<int>(info.output_width), static_cast<int>(info.output_height)};
    while (info.output_scanline < info.output_height) {
        JSAMPROW row = out.rgb.data() + info.output_scanline * info.output_width * 3;
        jpeg_read_scanlines(&info, &row, 1);
    }
    jpeg_finish_decompress(&info);
    jpeg_destroy_decompress(&info);
    return out;
}

// The scaler as one would write it down: every pixel by the formula, from lines with black behind their ends.
TestPicture model(const TestPicture& source, int width, int height, int mode) {
    const auto part = [](int length, float scale) {
        return std::max(1, static_cast<int>(std::lround(static_cast<float>(length) * scale)));
    };
    const int shown = mode == 3 ? static_cast<int>(std::lround(source.width * 1.125)) : source.width;
    const float across = static_cast<float>(width) / static_cast<float>(shown);
    const float down = static_cast<float>(height) / static_cast<float>(source.height);
    int fitted_width = width, fitted_height = height;
    if (mode == 0) {
        fitted_width = width = source.width;
        fitted_height = height = source.height;
    } else if (static_cast<float>(width) / static_cast<float>(height) <
               static_cast<float>(shown) / static_cast<float>(source.height)) {
        fitted_height = part(source.height, across);
    } else {
        fitted_width = part(shown, down);
    }
    if (mode == 2) {
        width = fitted_width;
        height = fitted_height;
    }
    const long x_step = std::lround(source.width * 1000.0 / fitted_width);
    const long y_step = std::lround(source.height * 1000.0 / fitted_height);
    const int left = (width - fitted_width) / 2, top = (height - fitted_height) / 2;
    TestPicture out{width, height};
    for (int i = 0; i < fitted_width * fitted_height * 3; ++i) {
        const int channel = i % 3, column = i / 3 % fitted_width, row = i / 3 / fitted_width;
        const auto sample = [&](long x, long y) -> long {
            if (x >= source.width) return 0;
            return source.at(static_cast<int>(x), static_cast<int>(std::min<long>(y, source.height - 1)))[channel];
        };
        const long x = column * x_step / 1000, fx = column * x_step % 1000;
        const long y = row * y_step / 1000, fy = row * y_step % 1000;
        out.rgb[static_cast<std::size_t>(((row + top) * width + column + left) * 3 + channel)] =
            static_cast<std::uint8_t>(((sample(x + 1, y + 1) * fx + sample(x, y + 1) * (1000 - fx)) * fy +
                                       (sample(x, y) * (1000 - fx) + sample(x + 1, y) * fx) * (1000 - fy)) /
                                      1000000);
    }
    return out;
}

RgbPicture rgb_of(const TestPicture& picture) {
    RgbPicture out{picture.width, picture.height};
    std::copy(picture.rgb.begin(), picture.rgb.end(), out.pixels.get());
    return out;
}
std::vector<std::uint8_t> bytes_of(const RgbPicture& picture) {
    return {picture.pixels.get(), picture.pixels.get() + picture.bytes()};
}

// Hands out a picture's lines and counts them.
class CountedLines : public LineSource {
public:
    explicit CountedLines(const TestPicture& picture) : picture_(picture) {}
    int width() const override { return picture_.width; }
    int height() const override { return picture_.height; }
    bool read_line(std::uint8_t* rgb) override {
        if (handed_out == picture_.height) return false;
        std::copy_n(picture_.at(0, handed_out++), picture_.width * 3, rgb);
        return true;
    }
    bool skip_line() override { return handed_out++ < picture_.height; }
    int handed_out = 0;

private:
    const TestPicture& picture_;
};

void expect_as_model(const TestPicture& source, int width, int height, int mode) {
    SCOPED_TRACE(text_format(100, "%dx%d to %dx%d, mode %d", source.width, source.height, width, height, mode));
    CountedLines lines{source};
    RgbPicture scaled;
    ASSERT_TRUE(picture_scale(lines, picture_place(source.width, source.height, width, height, mode), scaled));
    EXPECT_EQ(lines.handed_out, source.height) << "every line once";
    const TestPicture expected = model(source, width, height, mode);
    ASSERT_EQ(scaled.width, expected.width);
    ASSERT_EQ(scaled.height, expected.height);
    EXPECT_TRUE(bytes_of(scaled) == expected.rgb);
}

TEST(Scale, GivesTheFormulasPixelsAtEverySize) {
    using Sizes = std::array<int, 4>;  // of the source, and wanted
    for (const auto& [source_width, source_height, width, height] :
         {Sizes{640, 480, 160, 160}, Sizes{480, 640, 160, 160}, Sizes{64, 48, 640, 480}, Sizes{1, 1, 160, 120},
          Sizes{1, 7, 30, 30}, Sizes{7, 1, 30, 30}, Sizes{2, 2, 4096, 3}, Sizes{3, 2, 2000, 15}, Sizes{5, 3, 3, 5},
          Sizes{33, 57, 684, 456}, Sizes{161, 99, 160, 160}, Sizes{160, 160, 160, 160}, Sizes{400, 1, 160, 160},
          Sizes{1, 400, 160, 160}, Sizes{90, 60, 1, 1}})
        for (const int mode : {0, 1, 2, 3, 99, -1})
            expect_as_model(noise_picture(source_width, source_height), width, height, mode);

    std::mt19937 random{7};
    const auto side = [&] { return static_cast<int>(1 + random() % (random() % 4 == 0 ? 300 : 60)); };
    for (int i = 0; i < 100; ++i) {
        const int width = side(), height = side();
        expect_as_model(noise_picture(width, height, static_cast<unsigned>(i)), side(), side(), i % 4);
    }
}

// What the codec and the scaler make of a JPEG; missing when it is not whole.
std::optional<std::vector<std::uint8_t>> decoded(Bytes jpeg, int side) {
    FileWindow window{jpeg};
    JpegDecoder decoder{window};
    RgbPicture scaled;
    if (!decoder.start() ||
        !picture_scale(decoder, picture_place(decoder.width(), decoder.height(), side, side, 1), scaled) ||
        !decoder.finish())
        return std::nullopt;
    EXPECT_FALSE(decoder.read_line(scaled.pixels.get())) << "no line behind the last";
    return bytes_of(scaled);
}

TEST(JpegCodec, DecodesWhatTheLibraryDecodesAndNoPartOfIt) {
    const std::string written = *jpeg_encode(rgb_of(noise_picture(301, 77)));
    for (const std::string& jpeg : {written, read_whole_file(PELORAMA_FUZZ_CORPUS "/fuzz_jpeg/baseline"),
                                    read_whole_file(PELORAMA_FUZZ_CORPUS "/fuzz_jpeg/progressive")}) {
        EXPECT_TRUE(decoded(as_bytes(jpeg), 100) == model(jpeg_pixels(jpeg), 100, 100, 1).rgb);
        for (std::size_t length = 0; length < jpeg.size(); length += jpeg.size() / 1000 + 1)
            EXPECT_FALSE(decoded(as_bytes(jpeg).first(length), 9)) << length;
    }
}

TEST(JpegCodec, EncodesWithTheLibrarysDefaults) {
    const std::string jpeg = *jpeg_encode(rgb_of(plain_picture(400, 301, {200, 30, 40})));
    const TestPicture pixels = jpeg_pixels(jpeg);
    EXPECT_EQ(std::pair(pixels.width, pixels.height), std::pair(400, 301));
    EXPECT_NEAR(*pixels.at(399, 300), 200, 3);
    // The table of quality 75 begins so.
    EXPECT_NE(jpeg.find("\xFF\xDB\0\x43\0\x08\x06\x06\x07\x06\x05\x08\x07"s), std::string::npos);
    EXPECT_EQ(jpeg_encode(RgbPicture{0, 5}), std::nullopt);
    EXPECT_EQ(jpeg_encode(RgbPicture{65501, 1}), std::nullopt);
}

TEST(Planar, WritesLumaAndHalvedColour) {
    // Red, red, blue and blue columns; four rows, the third of them black.
    TestPicture picture{4, 4};
    const std::uint8_t colours[4][3] = {{255, 0, 0}, {255, 0, 0}, {0, 0, 255}, {0, 0, 255}};
    for (const int y : {0, 1, 3})
        for (int x = 0; x < 4; ++x) std::copy_n(colours[x], 3, picture.rgb.data() + (y * 4 + x) * 3);
    const std::string row{"\x4C\x4C\x1D\x1D", 4}, black(4, '\0');
    // The last pair of rows counts its upper row twice: no colour.
    EXPECT_EQ(yuv420_encode(rgb_of(picture)), row + row + black + row + "\x54\xFF\x80\x80" + "\xFF\x6B\x80\x80");
    EXPECT_EQ(yuv420_encode(rgb_of(plain_picture(2, 2, {255, 255, 255}))), "\xFE\xFE\xFE\xFE\x80\x80");
    EXPECT_EQ(yuv420_encode(rgb_of(plain_picture(1, 1, {255, 255, 255}))), "\xFE");
    // Odd sizes: 135 * 91 luma bytes, planes of 67 x 45, the second a quarter of the luma plane behind the first.
    const std::string odd = yuv420_encode(rgb_of(plain_picture(135, 91, {0, 0, 255})));
    ASSERT_EQ(odd.size(), 18427u);
    EXPECT_EQ(odd.substr(12285, 3015), std::string(3015, '\xFF'));
    EXPECT_EQ(odd.substr(12285 + 3071, 3015), std::string(3015, '\x6B'));
}

TEST(Planar, WritesSixteenBitPixels) {
    TestPicture picture{4, 1};
    picture.rgb = {255, 0, 0, 0, 255, 0, 0, 0, 255, 8, 4, 8};
    EXPECT_EQ(tini_encode(rgb_of(picture)), std::string("\x00\xF8\xE0\x07\x1F\x00\x21\x08", 8));
}

}  // namespace
