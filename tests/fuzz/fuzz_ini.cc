// The ini file, whatever it holds: what was read from one is the same after it was written and read again.
#include <sys/mman.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "core/file.h"
#include "core/ini.h"
#include "core/settings.h"
#include "core/settings_table.h"
#include "target.h"

namespace {

std::vector<Text> all_settings() {
    std::vector<Text> values;
    for (std::size_t i = 0; i < kSettingCount; ++i) values.push_back(settings_get(static_cast<Setting>(i)));
    return values;
}

// A file in memory under a path that can be opened.
struct MemoryFile {
    File file{memfd_create("ini", 0)};
    std::string path() const { return "/proc/self/fd/" + std::to_string(file.fd()); }
};

}  // namespace

void fuzz(Bytes input) {
    const MemoryFile given, written;
    require(given.file.write_all(as_text(input)));
    // Everything unset, and what is never written stays out of the comparison.
    settings_free_all();
    ini_set_path(given.path());
    ini_read();
    for (const SettingSpec& spec : settings_table())
        if (!spec.is_written()) settings_set(spec.id, {});
    const auto read = all_settings();

    ini_set_path(written.path());
    ini_write();
    settings_free_all();
    ini_read();
    require(all_settings() == read);
}
