// The extension table: which reader turns which files into items.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "core/thread.h"
#include "db/objects.h"

// The letters that may stand before a content directory ("M|/data").
enum class ReaderType : char { music = 'M', picture = 'P', video = 'V' };

// The type of a letter in either case; missing for any other character.
std::optional<ReaderType> reader_type_of(char letter);
// The class under which the store lists what readers of this type add.
ObjectClass reader_class(ReaderType type);

struct MediaReader {
    std::string_view extension;
    ReaderType type;
    // Reads the file and adds its item; failures are the reader's to log. Null for playlists.
    void (*add)(const std::string& path, bool compilation);
    // In place of add, of a playlist: what it names is to be found by its own reader first, which knows more of it.
    // Ends early with the flag.
    void (*import)(const std::string& path, const RunningFlag& running) = nullptr;
};

// In the order of matching.
std::span<const MediaReader> media_readers();
