// Pictures as RGB buffers, their placement on the canvas that a client asks for, and the bilinear scaler that draws
// them there. Sizes are in pixels.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

// Three bytes a pixel, lines from the top down without gaps. A new picture's pixels are undefined.
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

// Hands out the lines of a picture from the top down, each once.
class LineSource {
public:
    virtual ~LineSource() = default;
    virtual int width() const = 0;
    virtual int height() const = 0;
    // Writes three bytes a pixel. False after the last line, and if the line cannot be decoded.
    virtual bool read_line(std::uint8_t* rgb) = 0;
    virtual bool skip_line() = 0;
};

// How a picture becomes width x height pixels: the fourth number of a picture URL. Any other number means letterbox.
constexpr int kModeOriginal = 0;   // not scaled at all
constexpr int kModeLetterbox = 1;  // fitted into the size, centred on a black canvas of that size
constexpr int kModeFit = 2;        // fitted into the size, no canvas
constexpr int kModeStretched = 3;  // letterbox for television pixels: 1.125 times as wide

struct PicturePlacement {
    int output_width = 0, output_height = 0;
    int fitted_width = 0, fitted_height = 0;  // at least 1
    int left = 0, top = 0;                    // of the fitted picture in the output
};
// All four sizes are at least 1.
PicturePlacement picture_place(int source_width, int source_height, int width, int height, int mode);

// Draws the source into a new output picture. Reads the source to its last line; false if it failed on the way.
bool picture_scale(LineSource& source, const PicturePlacement& placement, RgbPicture& output);

// The picture at exactly this size, whatever becomes of its proportions.
RgbPicture picture_resize(const RgbPicture& picture, int width, int height);
