// Whole WAV and M4A files: their tags and their covers.
#include "meta/m4a.h"
#include "meta/wav.h"
#include "target.h"

void fuzz(Bytes input) {
    FileWindow window{input};
    for (const TagCharset charset : {TagCharset::ascii, TagCharset::utf8}) {
        const MediaFacts tags = wav_read_tags(window, charset);
        require_no_nul({&tags.title, &tags.artist, &tags.album, &tags.genre});
    }
    m4a_read_tags(window);
    if (const auto picture = m4a_find_picture(window))
        require(picture->offset <= input.size() && picture->length <= input.size() - picture->offset);
    if (const auto picture = wav_find_picture(window)) require(picture->offset <= input.size());
}
