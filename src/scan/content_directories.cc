#include "scan/content_directories.h"
#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "core/settings.h"
#include "core/settings_table.h"
#include "core/start_directory.h"
#include "core/str.h"
#include "meta/media_formats.h"

namespace {

// "M|/data" is /data, restricted to music.
ScanTarget target_of(std::string_view element) {
    ScanTarget target{.text = std::string{element}, .content = {}, .below = {}, .restriction = std::nullopt};
    if (element.size() >= 2 && element[1] == '|') target.restriction = media_type_of(element.front());
    if (target.restriction) element.remove_prefix(2);
    target.content = element;
    return target;
}

// The names between the slashes, joined by one "/" each. "." and empty names are left out. nullopt if one is "..".
std::optional<std::string> tidy_names(std::string_view text) {
    std::string tidy;
    while (!text.empty()) {
        const std::string_view name = text.substr(0, text.find('/'));
        text.remove_prefix(std::min(name.size() + 1, text.size()));
        if (name == "..") return std::nullopt;
        if (name.empty() || name == ".") continue;
        if (!tidy.empty()) tidy += '/';
        tidy += name;
    }
    return tidy;
}

std::optional<std::string> below_target(const ScanTarget& target, std::string_view directory) {
    if (target.content.empty() || !str_starts_nocase(directory, target.text)) return std::nullopt;
    const std::string_view rest = directory.substr(target.text.size());
    if (!rest.empty() && rest.front() != '/' && target.text.back() != '/') return std::nullopt;
    return tidy_names(rest);
}

}  // namespace

std::string ScanTarget::path() const {
    if (below.empty()) return content;
    return content.ends_with('/') ? content + below : content + '/' + below;
}

std::vector<ScanTarget> content_directories() {
    std::vector<ScanTarget> targets;
    for (const std::string& element : *settings_list(Setting::contentdir)) targets.push_back(target_of(element));
    // The directory's own name is never taken for a prefix.
    if (targets.empty())
        targets.push_back({.text = start_directory(), .content = start_directory(), .below = {}, .restriction = {}});
    return targets;
}

std::optional<ScanTarget> rescan_target(std::string_view directory) {
    for (ScanTarget& target : content_directories()) {
        if (auto below = below_target(target, directory)) {
            target.below = std::move(*below);
            target.text = directory;
            return std::move(target);
        }
    }
    return std::nullopt;
}

bool rescan_dir_valid(std::string_view directory) {
    return directory.empty() || rescan_target(directory).has_value();
}
