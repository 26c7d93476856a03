// The search for cover pictures in music files.
#include <cstddef>
#include <cstdint>
#include <span>

#include "meta/album_art.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes file = std::as_bytes(std::span{data, size});
    for (const auto find : {mp3_find_picture, wma_find_picture}) {
        FileWindow window{file};
        const auto picture = find(window);
        if (!picture) continue;
        if (picture->offset > size || picture->length == 0) __builtin_trap();
        if (picture->mime.find_first_of("\r\n ") != std::string::npos) __builtin_trap();
    }
    return 0;
}
