// Anything that claims to be a JPEG file: its EXIF block and the search for its frame.
#include "meta/exif.h"
#include "meta/jpeg_size.h"
#include "target.h"

void fuzz(Bytes input) {
    FileWindow window{input};
    PictureInfo info;
    exif_read_block(window, info);
    require(info.width >= 0 && info.height >= 0);
    require_no_nul({&info.description, &info.date, &info.original_date});
    for (const Text* text : {&info.description, &info.date, &info.original_date})
        require(!*text || (*text)->size() <= 1024);
    const JpegSize found = jpeg_find_size(window);
    require(found.width >= 0 && found.width <= 65535 && found.height >= 0 && found.height <= 65535);
}
