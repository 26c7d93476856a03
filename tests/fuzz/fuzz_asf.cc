// The head of anything that claims to be a WMA file.
#include <cstddef>
#include <cstdint>
#include <span>

#include "meta/asf.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes head = std::as_bytes(std::span{data, size});
    for (const std::uint64_t file_size : {std::uint64_t{size}, std::uint64_t{1} << 40}) {
        for (const TagCharset charset : {TagCharset::ascii, TagCharset::utf8}) {
            const AudioTags tags = asf_read(head, file_size, charset);
            for (const Text* text : {&tags.title, &tags.artist, &tags.album, &tags.genre})
                if (*text && (*text)->find('\0') != std::string::npos) __builtin_trap();
            if (tags.date && tags.date->size() > 10) __builtin_trap();
        }
    }
    return 0;
}
