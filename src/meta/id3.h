// ID3 tags (id3.org: ID3v1.1, ID3v2.2, v2.3, v2.4): the frames at the head of a file that become fields of an item, and
// the block in its last 128 bytes. Nothing here opens files or reports errors. What cannot be read stays missing.
#pragma once

#include <cstdint>
#include <optional>

#include "core/bytes.h"
#include "core/str.h"
#include "meta/embedded_picture.h"
#include "meta/file_window.h"
#include "meta/tag_text.h"

constexpr std::uint64_t kTagLimit = 200'000;  // nothing after this file offset counts as a tag
constexpr std::size_t kId3v1Bytes = 128;

struct Id3v2Tag {
    Text title, artist, album, genre;
    Text year;  // as the frame has it
    std::int32_t track = 0;
    std::uint32_t picture_offset = 0;  // of the last picture frame's data; 0: no picture
    std::uint64_t end = 0;             // of the last tag, where the audio is looked for; 0: no tag
};
// The number in four bytes of seven bits each.
std::uint32_t id3_syncsafe(std::uint32_t value);

// How the sizes of frames are read in a tag of version 4. By the definition they are syncsafe. Kept on purpose: in MP3
// files they are read as plain big-endian numbers, as in the versions before.
enum class Id3v24Sizes { plain, syncsafe };

// Reads the tag at the start of the file, and tags that follow it directly.
Id3v2Tag id3_read_v2(FileWindow& file, TagCharset charset, Id3v24Sizes v24_sizes = Id3v24Sizes::plain);

// The text of a frame's data: an encoding byte, then the text up to a terminator or the end, without blanks at its end.
// nullopt for unknown encodings.
Text id3_frame_text(Bytes data, TagCharset charset);

struct Id3v1Tag {
    std::string title, artist, album;
    std::int32_t year = 0;   // the digits after the album, which may run on into the comment
    std::int32_t track = 0;  // -128 to 127
    std::int32_t genre = 0;  // 0 to 255
};
// nullopt unless these are 128 bytes that begin with "TAG".
std::optional<Id3v1Tag> id3_read_v1(Bytes last_bytes);

// The JFIF picture of the first picture frame of a tag that starts at offset from; nullopt if the frame holds none (a
// PNG, an Exif JPEG).
std::optional<EmbeddedPicture> id3_find_picture(FileWindow& file, std::uint64_t from, Id3v24Sizes v24_sizes);
