// The command line: "-key value" for any setting, "-D" without a value, "-inifile path". It overrides the ini file,
// which overrides the built-in defaults.
#pragma once

#include <span>
#include <string_view>

using Arguments = std::span<const std::string_view>;  // without the program's name

enum class CommandLine { understood, usage_wanted };

// Sets the path of the ini file; the last "-inifile" counts. Returns usage_wanted if "-inifile" is the last argument.
CommandLine command_line_find_ini(Arguments arguments);
// Sets the settings that the arguments name. Keys are compared with case; a key as the very last argument unsets its
// setting. Returns usage_wanted if an argument contains "?" or "help"; values are not searched for these.
CommandLine command_line_apply(Arguments arguments);

// Fills the settings from all three sources and rewrites the ini file with all of them. If usage is wanted, prints it
// and ends the process with status 0.
void settings_init(int argc, const char* const* argv);
