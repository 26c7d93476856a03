#include "handlers/pacing.h"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace {

constexpr std::int32_t kDefaultRate = 2048;
constexpr std::int64_t kHighestRate = std::numeric_limits<std::int32_t>::max();

}  // namespace

std::int32_t pacing_rate(std::int64_t size, std::int32_t seconds) {
    if (size <= 0 || seconds <= 0) return kDefaultRate;
    return static_cast<std::int32_t>(std::min(size / seconds, kHighestRate - 1) + 1);
}

std::int64_t pacing_stretch(std::int32_t rate, std::int64_t unit) {
    const std::int64_t least = 1000 * static_cast<std::int64_t>(rate);
    return (least + unit - 1) / unit * unit;
}

std::int32_t pacing_delay_ms(std::int64_t sent, std::uint32_t elapsed_ms, std::int32_t rate) {
    // Kept on purpose: seconds of sound are compared with milliseconds of the clock, and 32 bits of both wrap.
    const std::uint32_t ahead = static_cast<std::uint32_t>(sent) - elapsed_ms * static_cast<std::uint32_t>(rate);
    const std::int32_t lead = static_cast<std::int32_t>(ahead) / rate;
    const std::int32_t delay = lead - lead / 10 - 100;
    return delay >= 1 && delay <= 1999 ? delay : 0;
}
