// Cleaning of texts on their way into the store: whatever a tag or a file name contains becomes tidy UTF-8.
#pragma once

#include <string>
#include <string_view>

// Drops bytes below 32 and byte 127, converts the text from Latin-1 unless it is well-formed UTF-8, and trims the
// blanks at both ends.
std::string text_clean(std::string_view text);

// Drops only the control bytes that XML 1.0 forbids: all below 32 except tab, line feed and carriage return.
std::string text_without_forbidden_controls(std::string_view text);

// "LOVE ME DO" becomes "Love Me Do". Returns a title unchanged if it has a lower-case letter or only one word.
std::string adapt_case(std::string_view title);

// Returns the title of a file that has no other: its base name without the last extension, cleaned.
std::string title_from_path(std::string_view path);
