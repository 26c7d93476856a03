// The tag walk, the texts of frames and the block at the end of a file, on anything that claims to be an MP3 file.
#include <cstddef>
#include <cstdint>
#include <span>

#include "meta/id3.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes file = std::as_bytes(std::span{data, size});
    for (const TagCharset charset : {TagCharset::ascii, TagCharset::utf8}) {
        FileWindow window{file};
        const Id3v2Tag tag = id3_read_v2(window, charset);
        if (tag.end > kTagLimit) __builtin_trap();
        for (const Text* text : {&tag.title, &tag.artist, &tag.album, &tag.genre, &tag.year})
            if (*text && ((*text)->ends_with(' ') || (*text)->find('\0') != std::string::npos)) __builtin_trap();
        id3_frame_text(file, charset);
    }
    id3_read_v1(file.last(size < kId3v1Bytes ? size : kId3v1Bytes));
    return 0;
}
