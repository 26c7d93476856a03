// How it works
//
// Positions in the source are fixed-point numbers in thousandths of a pixel. Output column x looks at source position
// x * step, which lies between two neighbouring pixels; the nearer one counts for more. The same goes for rows.
//
//     source line n      A-----B        output value = A, B, C and D blended by their distance to +:
//                        |  +  |          Line::blend   across, A with B and C with D, once a source line
//     source line n + 1  C-----D          blend_lines   down, between the two results, once an output row
//
// Only two source lines are in memory, as a LinePair; it moves down the source as the output rows do. Results are exact
// to the last bit: every product fits 32 bits (255 * 1000 * 1000), and division rounds down.
#include "meta/scale.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

namespace {

constexpr std::uint32_t kOne = 1000;  // one pixel in fixed point

// Where an output column looks into a source line.
struct Column {
    std::uint32_t offset;  // of the left pixel, in bytes
    std::uint32_t weight;  // of the pixel to its right, 0 to 999
};

// Black pixels after the end of a line. The last pixel has one as its right neighbour, so an enlarged picture fades to
// black at its right edge. A rounded-up step leads further, by half a thousandth a column: at most three pixels on a
// canvas of 4096.
constexpr std::size_t kBlackPixels = 4;

// Rounded to the nearest thousandth.
std::uint32_t step_of(int source, int fitted) {
    return static_cast<std::uint32_t>((static_cast<std::int64_t>(source) * kOne * 2 + fitted) / (2 * fitted));
}

std::vector<Column> columns_of(int source_width, int fitted_width) {
    const std::uint32_t step = step_of(source_width, fitted_width);
    const auto last = static_cast<std::uint32_t>(source_width) + static_cast<std::uint32_t>(kBlackPixels) - 2;
    std::vector<Column> columns(static_cast<std::size_t>(fitted_width));
    std::uint32_t at = 0;
    for (Column& column : columns) {
        column = {.offset = std::min(at / kOne, last) * 3, .weight = at % kOne};
        at += step;
    }
    return columns;
}

// A source line, and the same line blended to the output's width, in thousandths of a value. The blended form is
// computed when it is first asked for: enlarging uses a line for many rows, reducing leaves most lines unused.
class Line {
public:
    Line(int source_width, int fitted_width)
        : bytes_((static_cast<std::size_t>(source_width) + kBlackPixels) * 3),
          blended_(static_cast<std::size_t>(fitted_width) * 3) {}

    bool read(LineSource& source) {
        is_blended_ = false;
        return source.read_line(bytes_.data());
    }
    const std::uint32_t* blended(const std::vector<Column>& columns) {
        if (!std::exchange(is_blended_, true)) blend(columns);
        return blended_.data();
    }

private:
    void blend(const std::vector<Column>& columns) {
        std::uint32_t* out = blended_.data();
        for (const Column& column : columns) {
            const std::uint8_t* const pixel = bytes_.data() + column.offset;
            const std::uint32_t right = column.weight, left = kOne - right;
            out[0] = pixel[3] * right + pixel[0] * left;
            out[1] = pixel[4] * right + pixel[1] * left;
            out[2] = pixel[5] * right + pixel[2] * left;
            out += 3;
        }
    }

    std::vector<std::uint8_t> bytes_;
    std::vector<std::uint32_t> blended_;
    bool is_blended_ = false;
};

// The hot loop: plain, over arrays that do not overlap, so that the compiler vectorises it, the division included.
void blend_lines(const std::uint32_t* __restrict current, const std::uint32_t* __restrict next, std::uint32_t weight,
                 std::uint8_t* __restrict out, std::size_t count) {
    const std::uint32_t rest = kOne - weight;
    for (std::size_t i = 0; i < count; ++i)
        out[i] = static_cast<std::uint8_t>((next[i] * weight + current[i] * rest) / (kOne * kOne));
}

// The two neighbouring source lines between which an output row lies.
class LinePair {
public:
    LinePair(LineSource& source, int fitted_width)
        : source_(source), first_(source.width(), fitted_width), second_(source.width(), fitted_width) {}

    bool start() {
        if (!first_.read(source_)) return false;
        // The only line is its own neighbour.
        if (source_.height() == 1) {
            next_ = current_;
            return true;
        }
        return second_.read(source_);
    }

    // Moves down until line number `target` is the current one. At the last line, current and next are the same.
    bool advance(int target) {
        for (; number_ < target; ++number_) {
            if (number_ >= source_.height() - 2) {
                current_ = next_;
                continue;
            }
            std::swap(current_, next_);
            // Only the target and the line after it are looked at; those before are skipped.
            if (number_ + 2 < target ? !source_.skip_line() : !next_->read(source_)) return false;
        }
        return true;
    }

    // Lets the source reach its end, where a decoder sees whether the file is whole.
    bool skip_rest() {
        for (; number_ < source_.height() - 2; ++number_)
            if (!source_.skip_line()) return false;
        return true;
    }

    // Writes an output row; weight is that of the next line, 0 to 999.
    void blend(const std::vector<Column>& columns, std::uint32_t weight, std::uint8_t* out) {
        const std::uint32_t* const current = current_->blended(columns);
        const std::uint32_t* const next = weight == 0 ? current : next_->blended(columns);
        blend_lines(current, next, weight, out, columns.size() * 3);
    }

private:
    LineSource& source_;
    Line first_, second_;
    Line* current_ = &first_;
    Line* next_ = &second_;
    int number_ = 0;  // of the current line
};

// For a picture that keeps its size: blending would give the same values, more slowly.
bool copy_lines(LineSource& source, RgbPicture& output) {
    for (int y = 0; y < output.height; ++y)
        if (!source.read_line(output.line(y))) return false;
    return true;
}

void blacken_border(const PicturePlacement& placement, RgbPicture& output) {
    const std::size_t left = static_cast<std::size_t>(placement.left) * 3;
    const std::size_t end = left + static_cast<std::size_t>(placement.fitted_width) * 3;
    for (int y = 0; y < output.height; ++y) {
        std::uint8_t* const line = output.line(y);
        if (y < placement.top || y >= placement.top + placement.fitted_height) {
            std::memset(line, 0, output.line_bytes());
        } else {
            std::memset(line, 0, left);
            std::memset(line + end, 0, output.line_bytes() - end);
        }
    }
}

// A picture in memory as a source of lines.
class MemoryLines : public LineSource {
public:
    explicit MemoryLines(const RgbPicture& picture) : picture_(picture) {}
    int width() const override { return picture_.width; }
    int height() const override { return picture_.height; }
    bool read_line(std::uint8_t* rgb) override {
        std::memcpy(rgb, picture_.line(y_++), picture_.line_bytes());
        return true;
    }
    bool skip_line() override {
        ++y_;
        return true;
    }

private:
    const RgbPicture& picture_;
    int y_ = 0;
};

int rounded(float value) {
    return static_cast<int>(std::lround(value));
}

}  // namespace

RgbPicture::RgbPicture(int picture_width, int picture_height)
    : width(picture_width), height(picture_height), pixels(std::make_unique_for_overwrite<std::uint8_t[]>(bytes())) {}

PicturePlacement picture_place(int source_width, int source_height, int width, int height, int mode) {
    if (mode == kModeOriginal) {
        return {.output_width = source_width,
                .output_height = source_height,
                .fitted_width = source_width,
                .fitted_height = source_height};
    }
    // Kept on purpose: single precision, which decides where a half is rounded to. Clients see the sizes.
    const int shown_width = mode == kModeStretched ? rounded(static_cast<float>(source_width) * 1.125F) : source_width;
    const auto across = static_cast<float>(width), down = static_cast<float>(height);
    const auto shown_across = static_cast<float>(shown_width), source_down = static_cast<float>(source_height);
    PicturePlacement place{
        .output_width = width, .output_height = height, .fitted_width = width, .fitted_height = height};
    if (across / down < shown_across / source_down) {
        place.fitted_height = std::clamp(rounded(source_down * (across / shown_across)), 1, height);
    } else {
        place.fitted_width = std::clamp(rounded(shown_across * (down / source_down)), 1, width);
    }
    if (mode == kModeFit) {
        place.output_width = place.fitted_width;
        place.output_height = place.fitted_height;
    }
    place.left = (place.output_width - place.fitted_width) / 2;
    place.top = (place.output_height - place.fitted_height) / 2;
    return place;
}

bool picture_scale(LineSource& source, const PicturePlacement& placement, RgbPicture& output) {
    output = RgbPicture{placement.output_width, placement.output_height};
    if (placement.output_width == source.width() && placement.fitted_width == source.width() &&
        placement.output_height == source.height() && placement.fitted_height == source.height())
        return copy_lines(source, output);

    blacken_border(placement, output);
    const std::vector<Column> columns = columns_of(source.width(), placement.fitted_width);
    const std::uint32_t step = step_of(source.height(), placement.fitted_height);
    LinePair lines{source, placement.fitted_width};
    if (!lines.start()) return false;
    std::uint32_t at = 0;
    for (int y = placement.top; y < placement.top + placement.fitted_height; ++y, at += step) {
        if (!lines.advance(static_cast<int>(at / kOne))) return false;
        lines.blend(columns, at % kOne, output.line(y) + placement.left * 3);
    }
    return lines.skip_rest();
}

RgbPicture picture_resize(const RgbPicture& picture, int width, int height) {
    MemoryLines lines{picture};
    RgbPicture output;
    picture_scale(lines,
                  {.output_width = width, .output_height = height, .fitted_width = width, .fitted_height = height},
                  output);
    return output;
}
