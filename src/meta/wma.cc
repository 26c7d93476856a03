#include "meta/wma.h"

#include <algorithm>
#include <memory>

#include "meta/asf.h"

AudioTags wma_read_tags(const std::string& path) {
    return audio_tags_of_file(path, [](const File& file, std::uint64_t size) {
        const std::size_t wanted = static_cast<std::size_t>(std::min<std::uint64_t>(size, kAsfHeadBytes));
        if (wanted < kAsfLeastBytes) return AudioTags{};
        const auto buffer = std::make_unique_for_overwrite<std::byte[]>(wanted);
        const Bytes head{buffer.get(), file.read_at(0, {buffer.get(), wanted})};
        return asf_read(head, size, tag_charset());
    });
}

void wma_add_item(const std::string& path, bool compilation) {
    audio_tags_add(path, wma_read_tags(path), compilation, "wma");
}
