// The border on the way into the store: whatever a tag or a file name held becomes tidy UTF-8 here.
#pragma once

#include <string>
#include <string_view>

// Well-formed UTF-8 stays as it is, anything else is taken as Latin-1; bytes 1 to 31 and 127 are dropped and blanks at
// both ends trimmed.
std::string text_clean(std::string_view text);

// Without the control bytes that XML 1.0 forbids (all below 32 but tab, line feed and carriage return), otherwise as it
// is.
std::string text_without_forbidden_controls(std::string_view text);

// "LOVE ME DO" becomes "Love Me Do": only for titles of at least two words whose letters are all upper case. Every
// other title comes back unchanged.
std::string adapt_case(std::string_view title);

// The title a file has when nothing else names it: its base name without the last extension, cleaned.
std::string title_from_path(std::string_view path);
