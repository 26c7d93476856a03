// The wording of the ini file: which settings it carries, in which order, and how each is explained. The same
// explanations are the usage text. Settings that are not listed here can be given in the file or on the command line,
// but are never written.
#pragma once

#include <span>
#include <string_view>

#include "core/settings.h"

// Comment lines (each with its line end), then one "key=value" line for each of `count` settings from `first` on.
struct IniGroup {
    std::string_view comments;
    Setting first;
    int count = 1;
};

// The comment lines at the top of the file.
std::string_view ini_head();
// In the order of the file.
std::span<const IniGroup> ini_groups();
