// Raw 16-bit sound has no header: the file's name is all there is to tell its rate and channels. The label that a
// client gets and the play time that it is shown follow the same rule.
#pragma once

#include <cstdint>
#include <string_view>

struct PcmFormat {
    std::int32_t sample_rate = 44100;  // samples a second
    std::int32_t channels = 2;

    std::int64_t bytes_per_second() const { return std::int64_t{2} * sample_rate * channels; }
};
// "48" anywhere in the path means 48000 Hz, "Mono" one channel.
PcmFormat pcm_format_of(std::string_view path);
