// The border to the JPEG library (the 6b interface of the IJG library), which reports errors by jumping back to its
// caller: nothing outside this file's source calls it, and no jump crosses an object with a destructor.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "meta/file_window.h"
#include "meta/scale.h"

// What a source picture may take: pixels, memory of a progressive one (which is decoded as a whole), its scans, and
// bytes: five a pixel, several times what the finest of cameras writes.
constexpr std::int64_t kMaxSourcePixels = 100'000'000;
constexpr long kMaxProgressiveBytes = 256L * 1024 * 1024;
constexpr int kMaxScans = 100;
constexpr std::uint64_t kMaxSourceBytes = 5 * kMaxSourcePixels;

// Decodes line by line to RGB; grey lines are widened. A file that ends before its picture does is an error, not a
// picture with a grey rest.
class JpegDecoder : public LineSource {
public:
    // The window must outlive the decoder.
    explicit JpegDecoder(FileWindow& file);
    ~JpegDecoder() override;

    // Reads the header. False for what is no JPEG, has too many pixels or colours that do not become RGB or grey
    // (CMYK, YCCK).
    bool start();
    // All false after a first failure.
    bool read_line(std::uint8_t* rgb) override;
    bool skip_line() override;
    // After the last line: whether the file holds the picture to its end.
    bool finish();

    int width() const override;
    int height() const override;

private:
    struct State;
    std::unique_ptr<State> state_;
};

// With the library's default settings (quality 75). Missing for sizes that JPEG does not have (0, above 65,500) and
// when memory is out.
std::optional<std::string> jpeg_encode(const RgbPicture& picture);
