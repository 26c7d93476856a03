// The ini file: one "key=value" line for each setting. It overrides the built-in defaults at start and at a restart,
// and is then rewritten with all settings and their explanations. A "#" starts a comment, even within a value. One
// blank before the "=" and all blanks after it are ignored; trailing blanks belong to the value. A value cannot contain
// "=",
// "#" or control bytes, because the file has no way to quote them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

// "./pelorama-mediaserver.ini" until another path is set; at most 1023 characters are kept.
std::string ini_path();
void ini_set_path(std::string_view path);

// Sets the settings that the file names and leaves the others alone. Ignores a file that cannot be read.
void ini_read();
// Writes the whole file. Logs failures. May be called by any thread.
void ini_write();

struct IniLine {
    std::string_view key;
    std::string_view value;
};
// Returns the key before the first "=" and the value after the last one, as views of the line; nullopt if the line has
// no "=".
std::optional<IniLine> ini_parse_line(std::string_view line);

// Returns the usage text: each setting of the ini file with its explanation.
std::string usage_text(std::string_view program_name);
// Prints the usage text and ends the process with status 0.
[[noreturn]] void print_usage(std::string_view program_name);
