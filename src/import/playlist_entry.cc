// Players write paths in many ways: relative to the playlist, to a folder of theirs, absolute on another machine, with
// backslashes, in Latin-1. We try what could be meant until a file is found. The path that comes out is spelled as the
// scanner spells it, because the store knows files by their paths.
#include "import/playlist_entry.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/file.h"
#include "core/settings.h"
#include "core/settings_table.h"
#include "core/start_directory.h"
#include "core/str.h"
#include "core/utf8.h"
#include "meta/media_formats.h"

namespace {

constexpr std::string_view kUrlMark = "http://";

std::string joined(std::string_view directory, std::string_view name) {
    return std::string{directory}.append("/").append(name);
}

// The scanner passes M3U8 files by, but they are playlists, too.
bool is_playlist(std::string_view entry) {
    const MediaFormat* const format = media_format_of(entry);
    return (format != nullptr && format->playlist) || str_equal_nocase(path_extension(entry), "m3u8");
}

// An element of the setting without its prefix: "M|/data" is "/data".
std::string_view without_prefix(std::string_view element) {
    const bool prefixed = element.size() > 2 && element[1] == '|' && media_type_of(element.front());
    return prefixed ? element.substr(2) : element;
}

// Where entries are looked for, in order. An element with a prefix counts without it first, then as written.
std::vector<std::string> content_directories_of_entries() {
    std::vector<std::string> directories;
    for (const std::string& element : *settings_list(Setting::contentdir)) {
        const std::string_view stripped = without_prefix(element);
        directories.emplace_back(stripped);
        if (stripped.size() != element.size()) directories.push_back(element);
    }
    directories.push_back(start_directory());
    return directories;
}

// Without ".", ".." and doubled slashes, by the text alone.
std::string tidy_path(std::string_view path) {
    const bool absolute = path.starts_with('/');
    std::vector<std::string_view> names;
    while (!path.empty()) {
        const std::string_view name = path.substr(0, path.find('/'));
        path.remove_prefix(std::min(name.size() + 1, path.size()));
        if (name.empty() || name == ".") continue;
        const bool up = name == "..";
        if (up && !names.empty() && names.back() != "..")
            names.pop_back();
        else if (!up || !absolute)
            names.push_back(name);
    }
    std::string tidy = absolute ? "/" : "";
    for (const std::string_view name : names) {
        if (!tidy.empty() && !tidy.ends_with('/')) tidy += '/';
        tidy += name;
    }
    return tidy;
}

// The status of a regular file. Files in /proc do not count: they are no music, whatever their status says.
std::optional<FileStatus> media_file_status(const std::string& path) {
    const auto status = file_status(path);
    return status && status->regular && !tidy_path(path).starts_with("/proc/") ? status : std::nullopt;
}

}  // namespace

EntryResolver::EntryResolver(std::string_view playlist_path) {
    const std::size_t slash = playlist_path.rfind('/');
    here_ = slash == std::string_view::npos ? "." : playlist_path.substr(0, slash);
    for (std::string& directory : content_directories_of_entries()) {
        std::string tidy = tidy_path(directory);
        if (!tidy.empty() && !tidy.ends_with('/')) tidy += '/';
        places_.push_back({.directory = std::move(directory), .tidy = std::move(tidy)});
    }
}

std::optional<ResolvedEntry> EntryResolver::resolve(std::string_view entry) const {
    if (entry.starts_with(kUrlMark)) return ResolvedEntry{.path = std::string{entry}, .url = true};
    if (is_playlist(entry)) return std::nullopt;
    auto path = find_file(entry);
    const std::string slashes = path_to_slashes(entry);
    if (!path && slashes != entry) path = find_file(slashes);
    // Lists of older players have single bytes where the disk has UTF-8.
    if (!path && !utf8_is_well_formed(slashes)) path = find_file(latin1_to_utf8(slashes));
    if (!path) return std::nullopt;
    return ResolvedEntry{.path = std::move(*path)};
}

std::optional<std::string> EntryResolver::file_at(const std::string& path) const {
    const auto status = media_file_status(path);
    return status ? std::optional{scanner_spelling(path, *status)} : std::nullopt;
}

std::optional<std::string> EntryResolver::find_file(std::string_view entry) const {
    if (entry.starts_with('/') || (entry.size() > 1 && entry[1] == ':'))
        if (auto found = file_at(std::string{entry})) return found;
    if (auto found = file_at(joined(here_, entry))) return found;
    for (const Place& place : places_)
        if (auto found = file_at(joined(place.directory, entry))) return found;
    return std::nullopt;
}

// A file must not become two items because a playlist writes its path in another way. So "../" is resolved, and below a
// content directory the path begins with that directory's own text, as the scanner spells it.
std::string EntryResolver::scanner_spelling(const std::string& path, const FileStatus& status) const {
    std::string tidy = tidy_path(path);
    if (tidy != path) {
        // After a symbolic link ".." leads elsewhere than the text says.
        const auto same = file_status(tidy);
        if (!same || same->inode != status.inode || same->device != status.device) return path;
    }
    for (const auto& [directory, above] : places_) {
        const bool both_absolute = tidy.starts_with('/') == directory.starts_with('/');
        if (directory.empty() || !both_absolute || !tidy.starts_with(above)) continue;
        const std::string_view rest = std::string_view{tidy}.substr(above.size());
        // If it is written with a "/" at its end, the scanner puts two before its own files, but one before its
        // folders.
        const bool has_slash = directory.ends_with('/') && str_contains(rest, "/");
        return has_slash ? std::string{directory}.append(rest) : joined(directory, rest);
    }
    return tidy;
}

std::optional<ResolvedEntry> playlist_resolve_entry(std::string_view entry, std::string_view playlist_path) {
    return EntryResolver{playlist_path}.resolve(entry);
}
