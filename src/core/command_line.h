// The command line: "-key value" for any setting, "-D" without a value, "-inifile path". It overrides the ini file, and
// both override the built-in defaults.
#pragma once

#include <span>
#include <string_view>

using Arguments = std::span<const std::string_view>;  // without the program's name

enum class CommandLine { understood, usage_wanted };

// Takes the ini file's path, the last one given; usage is wanted when it is missing behind "-inifile".
CommandLine command_line_find_ini(Arguments arguments);
// Sets what the arguments name. Keys are compared with their case; a key as the very last argument unsets its setting.
// Usage is wanted by an argument that holds "?" or "help"; a value never asks for it.
CommandLine command_line_apply(Arguments arguments);

// Fills the settings from all three sources and writes the ini file back complete. Ends the process with status 0 after
// the usage text when that is wanted.
void settings_init(int argc, const char* const* argv);
