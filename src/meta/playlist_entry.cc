#include "meta/playlist_entry.h"

#include <algorithm>
#include <array>
#include <vector>

#include "core/file.h"
#include "core/settings.h"
#include "core/start_directory.h"
#include "core/str.h"

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

// Regular files only; what stands in /proc is no music either, whatever its status says.
std::optional<FileStatus> media_file_status(const std::string& path) {
    const auto status = file_status(path);
    return status && status->regular && !path.starts_with("/proc") ? status : std::nullopt;
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

// One file must not become two items because a playlist writes its path in another way: "../" is resolved, and below a
// content directory the path is spelled from that directory's own text, as the scanner does.
std::string scanner_spelling(const std::string& path, const FileStatus& status) {
    const std::string tidy = tidy_path(path);
    const auto same = file_status(tidy);
    // Behind a symbolic link ".." leads elsewhere than the text says.
    if (!same || same->inode != status.inode || same->device != status.device) return path;
    for (const std::string& directory : content_directories_of_entries()) {
        std::string above = tidy_path(directory);
        if (!above.empty() && !above.ends_with('/')) above += '/';
        if (directory.empty() || !tidy.starts_with(above) || tidy.starts_with('/') != directory.starts_with('/'))
            continue;
        const std::string_view rest = std::string_view{tidy}.substr(above.size());
        // Written with a "/" at its end it has two of them in front of its own files, but one in front of its folders.
        const bool has_slash = directory.ends_with('/') && str_contains(rest, "/");
        return has_slash ? std::string{directory}.append(rest) : joined(directory, rest);
    }
    return tidy;
}

std::optional<std::string> find_file(std::string_view entry, std::string_view playlist_path) {
    std::vector<std::string> candidates;
    if (entry.starts_with('/') || (entry.size() > 1 && entry[1] == ':')) candidates.emplace_back(entry);
    const std::size_t slash = playlist_path.rfind('/');
    const std::string_view here = slash == std::string_view::npos ? "." : playlist_path.substr(0, slash);
    candidates.push_back(joined(here, entry));
    for (const std::string& directory : content_directories_of_entries())
        candidates.push_back(joined(directory, entry));
    for (const std::string& candidate : candidates)
        if (const auto status = media_file_status(candidate)) return scanner_spelling(candidate, *status);
    return std::nullopt;
}

}  // namespace

std::optional<ResolvedEntry> playlist_resolve_entry(std::string_view entry, std::string_view playlist_path) {
    if (entry.starts_with(kUrlMark)) return ResolvedEntry{.path = std::string{entry}, .url = true};
    const std::string_view extension = path_extension(entry);
    if (std::ranges::any_of(kPlaylistExtensions, [&](auto known) { return str_equal_nocase(extension, known); }))
        return std::nullopt;
    auto path = find_file(entry, playlist_path);
    if (!path && str_contains(entry, "\\")) path = find_file(path_to_slashes(entry), playlist_path);
    if (!path) return std::nullopt;
    return ResolvedEntry{.path = std::move(*path)};
}
