// Anything that claims to be an MP3 file: the walk over its tags, the texts of frames, the block at its end, its first
// frame with the Xing header in it, and its cover.
#include <algorithm>

#include "meta/id3.h"
#include "meta/mp3.h"
#include "meta/mpeg_frame.h"
#include "target.h"

void fuzz(Bytes input) {
    FileWindow window{input};
    for (const TagCharset charset : {TagCharset::ascii, TagCharset::utf8}) {
        const Id3v2Tag tag = id3_read_v2(window, charset);
        require(tag.end <= kTagLimit);
        require_no_nul({&tag.title, &tag.artist, &tag.album, &tag.genre, &tag.year});
        for (const Text* text : {&tag.title, &tag.artist, &tag.album, &tag.genre, &tag.year})
            require(!*text || !(*text)->ends_with(' '));
        id3_frame_text(input, charset);
    }
    id3_read_v1(input.last(std::min<std::size_t>(input.size(), kId3v1Bytes)));

    const MpegFrame frame = mpeg_read_first_frame(window, 0);
    require(frame.kbps >= 0 && frame.kbps <= 448);
    // The first four bytes as the length that a file might have.
    const auto length = ByteCursor{input}.big_endian(4);
    if (length) mpeg_parse_frame_header(input.subspan(4), static_cast<std::int32_t>(*length));

    const auto picture = mp3_find_picture(window);
    require(!picture || (picture->offset <= input.size() && picture->length > 0));
}
