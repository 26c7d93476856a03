// The only file that calls the JPEG library (the 6b interface of the IJG library). The library reports errors by a long
// jump; here they become return values.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "meta/file_window.h"
#include "meta/scale.h"

// Limits of a source picture. A progressive one is decoded as a whole, so it has limits of its own: memory, and scans,
// each of which costs a pass over the picture. Five bytes a pixel are several times what the best cameras write.
constexpr std::int64_t kMaxSourcePixels = 100'000'000;
constexpr long kMaxProgressiveBytes = 256L * 1024 * 1024;
constexpr int kMaxScans = 100;
constexpr std::uint64_t kMaxSourceBytes = 5 * kMaxSourcePixels;

// Decodes line by line to RGB; grey pixels get three equal channels. A file that ends before its picture does is an
// error.
class JpegDecoder : public LineSource {
public:
    // The window must outlive the decoder.
    explicit JpegDecoder(FileWindow& file);
    ~JpegDecoder() override;

    // Reads the header; call it first. False for a file that is not a JPEG, is too large, or has colours that the
    // library cannot turn into RGB or grey (CMYK, YCCK).
    bool start();
    // After a failure, these three only return false.
    bool read_line(std::uint8_t* rgb) override;
    bool skip_line() override;
    // After the last line: whether the file is whole.
    bool finish();

    int width() const override;
    int height() const override;

private:
    struct State;
    std::unique_ptr<State> state_;
};

// Encodes with the library's default settings (quality 75). Returns nullopt for sizes that JPEG does not have (0, above
// 65,500) and if memory is out.
std::optional<std::string> jpeg_encode(const RgbPicture& picture);
