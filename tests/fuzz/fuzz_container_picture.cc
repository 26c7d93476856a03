// The cover pictures of M4A and WAV files.
#include <cstddef>
#include <cstdint>
#include <span>

#include "meta/album_art.h"
#include "meta/container_picture.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes file = std::as_bytes(std::span{data, size});
    FileWindow m4a{file}, wav{file};
    if (const auto picture = m4a_find_picture(m4a))
        if (picture->offset > size || picture->length > size - picture->offset) __builtin_trap();
    if (const auto picture = wav_find_picture(wav))
        if (picture->offset > size) __builtin_trap();
    return 0;
}
