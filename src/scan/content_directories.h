// The content directories of the setting `contentdir`, and the check whether a directory that somebody on the network
// names lies within them. An element may begin with "M|", "P|" or "V|": then only music, pictures or videos are looked
// for there. If the setting is empty, the directory in which the server was started is the only one.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "meta/media_formats.h"

// What a scan is restricted to: one type of media, or all of them.
using ScanRestriction = std::optional<MediaType>;

struct ScanTarget {
    std::string text;     // as configured or asked for, prefix included
    std::string content;  // the content directory, without its prefix
    std::string below;    // the directory below it ("Abba/Gold"); empty: the content directory itself
    ScanRestriction restriction;

    // As the scan of the whole content directory would name it.
    std::string path() const;
};

// All content directories, in order.
std::vector<ScanTarget> content_directories();

// The target of a rescan request; nullopt if the directory is neither a content directory nor below one. The text is
// compared with the elements as configured (prefix included) and without regard to case, but what is scanned is the
// element's own spelling, so that no file gets a second path. A ".." below the content directory leads elsewhere and is
// refused, and so is a name that only begins like a content directory ("/music2").
std::optional<ScanTarget> rescan_target(std::string_view directory);

// Whether handle_rescan takes the directory: it has a target, or is empty and means all of them.
bool rescan_dir_valid(std::string_view directory);
