#include "meta/audio_item.h"

#include "core/time_text.h"
#include "meta/file_window.h"
#include "meta/m4a.h"
#include "meta/pcm_format.h"
#include "meta/tag_text.h"
#include "meta/wav.h"

namespace {

AudioTags measured_pcm(const std::string& path, std::uint64_t file_size) {
    const std::int64_t bytes_per_second = pcm_format_of(path).bytes_per_second();
    const auto size = static_cast<std::int64_t>(file_size);
    const std::int64_t milliseconds =
        size / bytes_per_second * 1000 + size % bytes_per_second * 1000 / bytes_per_second;
    if (milliseconds <= 0) return {};
    return {.duration = format_duration(milliseconds),
            .bitrate = static_cast<std::int32_t>(bytes_per_second * 8 / 1000)};
}

}  // namespace

AudioTags audio_read_tags(const std::string& path) {
    return audio_tags_of_file(path, [&path](const File& file, std::uint64_t size) {
        FileWindow window{file, size};
        const std::string_view extension = path_extension(path);
        if (str_equal_nocase(extension, "wav")) return wav_read_tags(window, tag_charset());
        if (str_equal_nocase(extension, "m4a")) return m4a_read_tags(window);
        return measured_pcm(path, size);
    });
}

void audio_add_item(const std::string& path, bool compilation) {
    audio_tags_add(path, audio_read_tags(path), compilation, "audio");
}
