// A library file of iTunes, and the locations in it.
#include <cstddef>
#include <cstdint>
#include <span>

#include "meta/itunes_xml.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes file = std::as_bytes(std::span{data, size});
    FileWindow window{file};
    itunes_xml_read(window, [](const LibrarySong& song, const std::string&, std::int32_t position) {
        if (position < 1 || !song.location || !song.location->starts_with('/')) __builtin_trap();
        return true;
    });
    itunes_location_path(as_text(file));
    return 0;
}
