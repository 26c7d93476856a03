// The ini file: one "key=value" line for each setting. It is read over the built-in defaults at start and at a restart,
// and written back complete with its explanations, so that the file always shows every setting. A "#" starts a comment,
// also within a value; one blank before the "=" and all blanks behind it do not count, trailing blanks of a value do.
// Values cannot hold "=", "#" or control bytes: the file has no way to quote them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

// "./pelorama-mediaserver.ini" until another path is set; at most 1023 characters are kept.
std::string ini_path();
void ini_set_path(std::string_view path);

// Settings that the file names take its values, the others stay. A file that cannot be read changes nothing and is not
// reported.
void ini_read();
// Any thread; failures are logged.
void ini_write();

struct IniLine {
    std::string_view key;
    std::string_view value;
};
// The key before the first "=" and the value behind the last one, as views of the line; missing without any "=".
std::optional<IniLine> ini_parse_line(std::string_view line);

// Every documented setting with its explanation.
std::string usage_text(std::string_view program_name);
// Prints it and ends the process with status 0.
[[noreturn]] void print_usage(std::string_view program_name);
