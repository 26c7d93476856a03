// The head of anything that claims to be a WMA file, and its cover.
#include "meta/asf.h"
#include "meta/asf_picture.h"
#include "target.h"

void fuzz(Bytes input) {
    for (const std::uint64_t file_size : {std::uint64_t{input.size()}, std::uint64_t{1} << 40}) {
        for (const TagCharset charset : {TagCharset::ascii, TagCharset::utf8}) {
            const MediaFacts tags = asf_read(input, file_size, charset);
            require_no_nul({&tags.title, &tags.artist, &tags.album, &tags.genre});
            require(!tags.date || tags.date->size() <= 10);
        }
    }
    FileWindow window{input};
    const auto picture = wma_find_picture(window);
    if (!picture) return;
    require(picture->offset <= input.size() && picture->length > 0);
    require(picture->mime.find_first_of("\r\n ") == std::string::npos);
}
