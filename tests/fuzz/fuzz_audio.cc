// Whole WAV and M4A files.
#include <cstddef>
#include <cstdint>
#include <span>

#include "meta/m4a.h"
#include "meta/wav.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes bytes = std::as_bytes(std::span{data, size});
    for (const TagCharset charset : {TagCharset::ascii, TagCharset::utf8}) {
        FileWindow wav{bytes};
        const AudioTags tags = wav_read_tags(wav, charset);
        for (const Text* text : {&tags.title, &tags.artist, &tags.album, &tags.genre})
            if (*text && (*text)->find('\0') != std::string::npos) __builtin_trap();
    }
    FileWindow m4a{bytes};
    m4a_read_tags(m4a);
    return 0;
}
