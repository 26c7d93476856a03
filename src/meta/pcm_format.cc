#include "meta/pcm_format.h"

#include "core/str.h"

PcmFormat pcm_format_of(std::string_view path) {
    return {.sample_rate = str_contains(path, "48") ? 48000 : 44100, .channels = str_contains(path, "Mono") ? 1 : 2};
}
