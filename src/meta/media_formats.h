// The table of media formats: for each file extension what kind of media it is, its MIME type, how its facts are read
// and how its cover is found. The scanner, streaming, covers and DIDL-Lite all look here; a new format is a new row.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "meta/embedded_picture.h"
#include "meta/file_window.h"
#include "meta/media_facts.h"

// The letter may stand before a content directory ("M|/data") and restricts its scan.
enum class MediaType : char { music = 'M', picture = 'P', video = 'V' };

// The type of a letter in either case; nullopt for any other character.
std::optional<MediaType> media_type_of(char letter);

struct MediaFormat {
    std::string_view extension;  // in small letters
    MediaType type;
    std::string_view mime = {};  // empty: none
    const char* log_name = "";   // what the log calls a file that was refused
    bool playlist = false;       // its entries become items, not the file (import/playlist_files.h)
    // Returns what the file says about itself. Null: the scanner passes such files by, or it is a playlist.
    MediaFacts (*read)(const std::string& path) = nullptr;
    // Null: such files have no cover, and no "/albumart-EXTENSION" URL.
    std::optional<EmbeddedPicture> (*find_cover)(FileWindow& file) = nullptr;
};

// Each extension stands in one row only, so their order does not matter.
std::span<const MediaFormat> media_formats();

// The row of the file's extension, compared without regard to case; null if there is none.
const MediaFormat* media_format_of(std::string_view path);

// "audio/mpeg" for "mp3"; empty for an extension without a type.
std::string_view mime_of_extension(std::string_view extension);
