#include "meta/pcm.h"
#include <cstdint>
#include <string>
#include <string_view>

#include "core/file.h"
#include "core/str.h"
#include "core/time_text.h"
#include "meta/media_facts.h"

PcmFormat pcm_format_of(std::string_view path) {
    return {.sample_rate = str_contains(path, "48") ? 48000 : 44100, .channels = str_contains(path, "Mono") ? 1 : 2};
}

MediaFacts pcm_read_facts(const std::string& path) {
    return media_facts_of_file(path, [&path](const File& /*file*/, std::uint64_t file_size) {
        const std::int64_t rate = pcm_format_of(path).bytes_per_second();
        const auto size = static_cast<std::int64_t>(file_size);
        const std::int64_t milliseconds = size / rate * 1000 + size % rate * 1000 / rate;  // cannot overflow
        MediaFacts facts;
        if (milliseconds <= 0) return facts;
        facts.duration = format_duration(milliseconds);
        facts.bitrate = static_cast<std::int32_t>(rate * 8 / 1000);
        return facts;
    });
}
