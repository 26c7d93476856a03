// The ini file, whatever it holds: what was read from one is the same after it was written and read again.
#include <sys/mman.h>

#include <vector>

#include "core/file.h"
#include "core/ini.h"
#include "core/settings.h"
#include "core/settings_table.h"
#include "target.h"

void fuzz(Bytes input) {
    // Files in memory under paths that can be opened.
    const File given{memfd_create("given", 0)}, written{memfd_create("written", 0)};
    require(given.write_all(as_text(input)));
    const auto read = [](const File& file) {
        ini_set_path("/proc/self/fd/" + std::to_string(file.fd()));
        settings_free_all();
        ini_read();
        // What is never written stays out of the comparison.
        for (const SettingSpec& spec : settings_table())
            if (!spec.is_written()) settings_set(spec.id, {});
        std::vector<Text> values;
        for (std::size_t i = 0; i < kSettingCount; ++i) values.push_back(settings_get(static_cast<Setting>(i)));
        return values;
    };
    const auto values = read(given);
    ini_set_path("/proc/self/fd/" + std::to_string(written.fd()));
    ini_write();
    require(read(written) == values);
}
