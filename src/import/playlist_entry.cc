#include "import/playlist_entry.h"

#include <algorithm>
#include <array>
#include <vector>

#include "core/settings.h"
#include "core/start_directory.h"
#include "core/str.h"
#include "core/utf8.h"

namespace {

constexpr std::string_view kUrlMark = "http://";
constexpr std::array<std::string_view, 4> kPlaylistExtensions{"m3u", "m3u8", "pls", "wpl"};

std::string joined(std::string_view directory, std::string_view name) {
    return std::string{directory}.append("/").append(name);
}

// "M|/data" without its prefix; other elements as they are.
std::string_view without_prefix(std::string_view element) {
    const bool prefixed = element.size() > 2 && element[1] == '|' &&
                          std::string_view{"PMV"}.find(char_upper(element.front())) != std::string_view::npos;
    return prefixed ? element.substr(2) : element;
}

// Content directories as they are looked through, a prefixed one without the prefix and then as written.
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

// Regular files only; what stands in /proc is no music either, whatever its status says.
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
    const std::string_view extension = path_extension(entry);
    if (std::ranges::any_of(kPlaylistExtensions, [&](auto known) { return str_equal_nocase(extension, known); }))
        return std::nullopt;
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

// One file must not become two items because a playlist writes its path in another way: "../" is resolved, and below a
// content directory the path is spelled from that directory's own text, as the scanner does.
std::string EntryResolver::scanner_spelling(const std::string& path, const FileStatus& status) const {
    std::string tidy = tidy_path(path);
    if (tidy != path) {
        // Behind a symbolic link ".." leads elsewhere than the text says.
        const auto same = file_status(tidy);
        if (!same || same->inode != status.inode || same->device != status.device) return path;
    }
    for (const auto& [directory, above] : places_) {
        const bool both_absolute = tidy.starts_with('/') == directory.starts_with('/');
        if (directory.empty() || !both_absolute || !tidy.starts_with(above)) continue;
        const std::string_view rest = std::string_view{tidy}.substr(above.size());
        // Written with a "/" at its end it has two of them in front of its own files, but one in front of its folders.
        const bool has_slash = directory.ends_with('/') && str_contains(rest, "/");
        return has_slash ? std::string{directory}.append(rest) : joined(directory, rest);
    }
    return tidy;
}

std::optional<ResolvedEntry> playlist_resolve_entry(std::string_view entry, std::string_view playlist_path) {
    return EntryResolver{playlist_path}.resolve(entry);
}
