// A library file of iTunes, and the locations in it.
#include "import/itunes_xml.h"
#include "target.h"

void fuzz(Bytes input) {
    FileWindow window{input};
    itunes_xml_read(window, [](const LibrarySong& song, const std::string&, std::int32_t position) {
        require(position >= 1 && song.location && song.location->starts_with('/'));
        return true;
    });
    itunes_location_path(as_text(input));
}
