#include "core/command_line.h"

#include <optional>
#include <string>
#include <vector>

#include "core/ini.h"
#include "core/log.h"
#include "core/settings.h"
#include "core/str.h"

namespace {

constexpr std::string_view kIniOption = "-inifile";

// The keys' case counts here, unlike in the ini file.
std::optional<Setting> setting_named(std::string_view key) {
    for (std::size_t i = 0; i < kSettingCount; ++i)
        if (settings_key(static_cast<Setting>(i)) == key) return static_cast<Setting>(i);
    return std::nullopt;
}

bool asks_for_usage(std::string_view argument) {
    return str_contains(argument, "?") || str_contains(argument, "help");
}

}  // namespace

CommandLine command_line_find_ini(Arguments arguments) {
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (!str_equal_nocase(arguments[i], kIniOption)) continue;
        if (i + 1 == arguments.size()) return CommandLine::usage_wanted;
        ini_set_path(arguments[i + 1]);
    }
    return CommandLine::understood;
}

CommandLine command_line_apply(Arguments arguments) {
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string_view argument = arguments[i];
        if (asks_for_usage(argument)) return CommandLine::usage_wanted;
        if (str_equal_nocase(argument, kIniOption)) {
            ++i;
            continue;
        }
        if (!argument.starts_with('-')) {
            log_message(LOG_PROBLEM, LOG_SYSTEM, "unknown command line parameter \"%s\", skipped.\n",
                        std::string{argument}.c_str());
            continue;
        }
        const auto setting = setting_named(argument.substr(1));
        if (!setting) continue;  // what follows is examined as an argument of its own
        if (*setting == Setting::D) {
            settings_set(Setting::D, "1");
            continue;
        }
        // Kept on purpose: without a value the setting is unset; this is how one is cleared from the command line.
        ++i;
        settings_set(*setting, i < arguments.size() ? arguments[i] : std::string_view{});
    }
    return CommandLine::understood;
}

void settings_init(int argc, const char* const* argv) {
    const std::string_view program = argc > 0 ? argv[0] : "";
    const std::vector<std::string_view> arguments(argc > 0 ? argv + 1 : argv, argv + argc);

    if (command_line_find_ini(arguments) == CommandLine::usage_wanted) print_usage(program);
    settings_set_defaults();
    ini_read();
    if (command_line_apply(arguments) == CommandLine::usage_wanted) print_usage(program);
    ini_write();
}
