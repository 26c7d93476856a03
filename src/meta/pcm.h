// Raw 16-bit sound without a header. The file's name is all there is to tell its rate and channels, and this is the
// only place that reads it: play time, listings and the label of the stream follow the same rule.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "meta/media_facts.h"

struct PcmFormat {
    std::int32_t sample_rate = 44100;  // samples a second
    std::int32_t channels = 2;

    std::int64_t bytes_per_second() const { return std::int64_t{2} * sample_rate * channels; }
};
// "48" anywhere in the path means 48000 Hz, "Mono" one channel.
PcmFormat pcm_format_of(std::string_view path);

// Play time and bitrate, from the file's size.
MediaFacts pcm_read_facts(const std::string& path);
