// A playlist file in each of the formats.
#include <cstddef>
#include <cstdint>
#include <span>

#include "meta/playlist_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes file = std::as_bytes(std::span{data, size});
    const PlaylistEntrySink check_line = [](std::string_view entry, std::string_view title) {
        if (entry.empty() || entry.size() > kPlaylistLine || title.size() >= kPlaylistLine) __builtin_trap();
        if (entry.find_first_of(std::string_view{"\n\0", 2}) != std::string_view::npos) __builtin_trap();
        return true;
    };
    for (auto* const read : {m3u_read, pls_read}) {
        FileWindow window{file};
        read(window, check_line);
    }
    xml_playlist_read(as_text(file), [](std::string_view entry, std::string_view) {
        if (entry.find('\0') != std::string_view::npos) __builtin_trap();
        return true;
    });
    return 0;
}
