// The steps of making a picture, all in memory: decoding, scaling on top of it or alone, and the three encoders. The
// source has 4000 x 3000 pixels. items_per_second are pixels: of the source where it is decoded, else of the output.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

#include "core/bytes.h"
#include "meta/jpeg_codec.h"
#include "meta/planar.h"
#include "meta/scale.h"

namespace {

constexpr int kWidth = 4000, kHeight = 3000;

// Gradients with noise on top, so that no block is trivial for the codec.
RgbPicture photo(int width, int height) {
    RgbPicture picture{width, height};
    std::uint32_t noise = 1;
    for (int y = 0; y < height; ++y) {
        std::uint8_t* pixel = picture.line(y);
        for (int x = 0; x < width; ++x, pixel += 3) {
            noise = noise * 1664525U + 1013904223U;
            const std::uint32_t grain = noise >> 28;
            pixel[0] = static_cast<std::uint8_t>(static_cast<std::uint32_t>(x * 200 / width) + grain);
            pixel[1] = static_cast<std::uint8_t>(static_cast<std::uint32_t>(y * 200 / height) + grain);
            pixel[2] = static_cast<std::uint8_t>(static_cast<std::uint32_t>((x + y) * 100 / (width + height)) + grain);
        }
    }
    return picture;
}

const std::string& jpeg() {
    static const std::string bytes = *jpeg_encode(photo(kWidth, kHeight));
    return bytes;
}

void decode_alone(benchmark::State& state) {
    for (auto _ : state) {
        FileWindow window{as_bytes(jpeg())};
        JpegDecoder decoder{window};
        decoder.start();
        while (decoder.skip_line()) {
        }
    }
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}
BENCHMARK(decode_alone)->Unit(benchmark::kMillisecond);

void decode_and_scale(benchmark::State& state) {
    const auto width = static_cast<int>(state.range(0)), height = static_cast<int>(state.range(1));
    for (auto _ : state) {
        FileWindow window{as_bytes(jpeg())};
        JpegDecoder decoder{window};
        RgbPicture out;
        decoder.start();
        picture_scale(decoder, picture_place(kWidth, kHeight, width, height, kModeLetterbox), out);
        benchmark::DoNotOptimize(out.pixels.get());
    }
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}
BENCHMARK(decode_and_scale)
    ->Args({160, 160})
    ->Args({640, 480})
    ->Args({1024, 768})
    ->Args({4096, 4096})
    ->Unit(benchmark::kMillisecond);

// From pixels in memory, without a decoder: a large picture reduced, and a small one enlarged.
void scale_alone(benchmark::State& state) {
    const auto from = static_cast<int>(state.range(0)), to = static_cast<int>(state.range(1));
    const RgbPicture source = photo(from, from * 3 / 4);
    for (auto _ : state) benchmark::DoNotOptimize(picture_resize(source, to, to * 3 / 4).pixels.get());
    state.SetItemsProcessed(state.iterations() * to * (to * 3 / 4));
}
BENCHMARK(scale_alone)
    ->Args({4000, 640})
    ->Args({4000, 1024})
    ->Args({4000, 3999})
    ->Args({640, 4000})
    ->Unit(benchmark::kMillisecond);

template <typename Encode>
void encode(benchmark::State& state, Encode routine) {
    const RgbPicture picture = photo(1024, 768);
    for (auto _ : state) benchmark::DoNotOptimize(routine(picture));
    state.SetItemsProcessed(state.iterations() * 1024 * 768);
}
BENCHMARK_CAPTURE(encode, jpeg, jpeg_encode)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(encode, yuv, yuv420_encode)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(encode, tini, tini_encode)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
