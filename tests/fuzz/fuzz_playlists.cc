// A playlist file in each of the formats.
#include "import/playlist_text.h"
#include "target.h"

void fuzz(Bytes input) {
    for (auto* const read : {m3u_read, pls_read}) {
        FileWindow window{input};
        read(window, [](std::string_view entry, std::string_view title) {
            require(!entry.empty() && entry.size() <= kPlaylistLine && title.size() < kPlaylistLine);
            require(entry.find_first_of(std::string_view{"\n\0", 2}) == std::string_view::npos);
            return true;
        });
    }
    xml_playlist_read(as_text(input), [](std::string_view entry, std::string_view) {
        require(entry.find('\0') == std::string_view::npos);
        return true;
    });
}
