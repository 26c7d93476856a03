// A library of another program: an iPod's database, or a library file of iTunes and the locations in it.
#include "import/itunes_db.h"
#include "import/itunes_xml.h"
#include "target.h"

void fuzz(Bytes input) {
    for (const TagCharset charset : {TagCharset::ascii, TagCharset::utf8}) {
        FileWindow window{input};
        std::size_t entries = 0;
        const std::string error = itunesdb_read(window, "/Music/", charset,
                                                [&](const LibrarySong&, const std::string&, std::int32_t position) {
                                                    require(position >= 1);
                                                    return ++entries < 100;
                                                });
        require(entries <= input.size() / 32);
        require(error.empty() || error.ends_with('\n'));
    }
    FileWindow window{input};
    itunes_xml_read(window, [](const LibrarySong& song, const std::string&, std::int32_t position) {
        require(position >= 1 && song.location && song.location->starts_with('/'));
        return true;
    });
    itunes_location_path(as_text(input));
}
