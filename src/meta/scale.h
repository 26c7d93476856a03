// Pictures as RGB buffers, where they go on the canvas that a client asks for, and the bilinear scaler that puts them
// there. Fixed point throughout, in thousandths of a pixel.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

// Three bytes a pixel, lines from the top down without gaps. Fresh pixels are not set.
struct RgbPicture {
    RgbPicture() = default;
    RgbPicture(int picture_width, int picture_height);

    std::size_t line_bytes() const { return static_cast<std::size_t>(width) * 3; }
    std::size_t bytes() const { return line_bytes() * static_cast<std::size_t>(height); }
    std::uint8_t* line(int y) { return pixels.get() + line_bytes() * static_cast<std::size_t>(y); }
    const std::uint8_t* line(int y) const { return pixels.get() + line_bytes() * static_cast<std::size_t>(y); }

    int width = 0, height = 0;
    std::unique_ptr<std::uint8_t[]> pixels;
};

// The lines of a picture from the top down, each handed out once.
class LineSource {
public:
    virtual ~LineSource() = default;
    virtual int width() const = 0;
    virtual int height() const = 0;
    // Writes three bytes a pixel. False when there are no more lines or they cannot be had.
    virtual bool read_line(std::uint8_t* rgb) = 0;
    virtual bool skip_line() = 0;
};

// The fourth number of a picture URL. Every other number means letterbox.
constexpr int kModeOriginal = 0;   // not scaled, whatever size was asked for
constexpr int kModeLetterbox = 1;  // fitted, in the middle of a black canvas of the size asked for
constexpr int kModeFit = 2;        // fitted, nothing around it
constexpr int kModeStretched = 3;  // letterbox for television pixels, which are 1.125 times as wide as high

struct Placement {
    int output_width = 0, output_height = 0;
    int fitted_width = 0, fitted_height = 0;  // at least 1
    int left = 0, top = 0;                    // of the fitted picture in the output
};
// All sizes in pixels, at least 1.
Placement picture_place(int source_width, int source_height, int width, int height, int mode);

// Takes every line of the source, once. False when a line could not be had.
bool picture_scale(LineSource& source, const Placement& placement, RgbPicture& output);

// A picture in memory at exactly this size.
RgbPicture picture_resize(const RgbPicture& picture, int width, int height);
