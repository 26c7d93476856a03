// The values of the settings, each a text; what a setting means stands in its row of the table. Defaults, the ini file
// and the command line fill in the values at start. The configuration pages may change a value while other threads read
// it, so each value is an immutable snapshot that readers share. Numbers are read from the start of the text
// ("15 minutes" is 15, "many" is 0).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/settings_table.h"
#include "core/str.h"

using SettingList = std::vector<std::string>;

// Stores a copy of text; an empty text unsets the setting. A list is split at its commas at once; blanks and empty
// items are kept.
void settings_set(Setting setting, std::string_view text);
// Compares keys without regard to case. Returns false, and changes nothing, if no setting has the key.
bool settings_set_by_key(std::string_view key, std::string_view text);
// Sets every setting to its built-in default.
void settings_set_defaults();

// Returns nullopt if the setting is not set.
Text settings_get(Setting setting);
// Return 0 and false if the setting is not set.
std::int32_t settings_get_int(Setting setting);
bool settings_get_bool(Setting setting);
// Returns the items of a list setting, none if it is not set. The pointer is never null, and the list it points to
// never changes.
std::shared_ptr<const SettingList> settings_list(Setting setting);

// Unsets everything.
void settings_free_all();
