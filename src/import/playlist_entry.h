// Where the entries of a playlist lead: a URL, or a file that is looked for in the places where players put them.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/file.h"

struct ResolvedEntry {
    std::string path;  // of a regular file, spelled as the scanner would spell it; or the URL
    bool url = false;
};
// Looks for the entries of one playlist. The settings are those of the time when it was made.
class EntryResolver {
public:
    explicit EntryResolver(std::string_view playlist_path);

    // Beginning "http://" it is a URL. Otherwise the first of these that is a file: the entry itself when it begins
    // with "/" or a drive letter, the entry below the playlist's directory, below each content directory in order,
    // below the start directory. Entries with backslashes or in Latin-1 are looked for as they are first, then with
    // slashes, then in UTF-8. Missing when there is none, and for other playlists: they are no media.
    std::optional<ResolvedEntry> resolve(std::string_view entry) const;

    // This file and no other, spelled as the scanner would spell it; missing when it is none.
    std::optional<std::string> file_at(const std::string& path) const;

private:
    std::optional<std::string> find_file(std::string_view entry) const;
    std::string scanner_spelling(const std::string& path, const FileStatus& status) const;

    struct Place {
        std::string directory;  // as it is written
        std::string tidy;       // its absolute or relative path with a "/" behind it, empty for the current directory
    };
    std::string here_;
    std::vector<Place> places_;
};

// The same for one entry.
std::optional<ResolvedEntry> playlist_resolve_entry(std::string_view entry, std::string_view playlist_path);
