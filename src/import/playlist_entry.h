// Resolves the entries of a playlist: to a URL, or to a file that is looked for where players put them.
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
// Resolves the entries of one playlist. It uses the settings of the moment when it was made.
class EntryResolver {
public:
    explicit EntryResolver(std::string_view playlist_path);

    // An entry that begins with "http://" is a URL. Otherwise the result is the first of these that is a file: the
    // entry itself if it begins with "/" or a drive letter, the entry below the playlist's directory, below each
    // content directory in order, below the start directory. Entries with backslashes or in Latin-1 are tried as they
    // are, then with slashes, then in UTF-8. nullopt if there is no such file, and for other playlists, which are no
    // media.
    std::optional<ResolvedEntry> resolve(std::string_view entry) const;

    // The path of exactly this file, spelled as the scanner would spell it; nullopt if it is no regular file.
    std::optional<std::string> file_at(const std::string& path) const;

private:
    std::optional<std::string> find_file(std::string_view entry) const;
    std::string scanner_spelling(const std::string& path, const FileStatus& status) const;

    struct Place {
        std::string directory;  // as it is written
        std::string tidy;       // without "." and "..", with a "/" at its end; empty for the current directory
    };
    std::string here_;
    std::vector<Place> places_;
};

// The same for one entry.
std::optional<ResolvedEntry> playlist_resolve_entry(std::string_view entry, std::string_view playlist_path);
