#include "core/command_line.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/ini.h"
#include "core/log.h"
#include "core/settings.h"
#include "core/settings_table.h"
#include "core/str.h"

namespace {

constexpr std::string_view kIniOption = "-inifile";

// Unlike in the ini file, the case of a key counts.
std::optional<Setting> setting_named(std::string_view key) {
    for (const SettingSpec& spec : settings_table())
        if (spec.key == key) return spec.id;
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
        if (!setting) continue;  // kept on purpose: its value is then read as an argument
        if (*setting == Setting::daemon) {
            settings_set(Setting::daemon, "1");
            continue;
        }
        // Kept on purpose: a key without a value unsets its setting. There is no other way to clear one from here.
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
