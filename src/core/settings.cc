#include "core/settings.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string_view>
#include <utility>

#include "core/process_wide.h"
#include "core/settings_table.h"
#include "core/str.h"

namespace {

struct SettingEntry {
    Text value;
    std::shared_ptr<const SettingList> items = std::make_shared<SettingList>();
    std::atomic<std::int32_t> number{0};  // read without the lock, because every log line reads one
};

struct SettingValues {
    std::mutex mutex;
    std::array<SettingEntry, kSettingCount> entries;
};

SettingValues& values() {
    return process_wide<SettingValues>();
}

SettingEntry& entry_of(Setting setting) {
    return values().entries[static_cast<std::size_t>(setting)];
}

std::shared_ptr<const SettingList> split_at_commas(std::string_view text) {
    auto items = std::make_shared<SettingList>();
    for (;;) {
        const std::size_t comma = text.find(',');
        items->emplace_back(text.substr(0, comma));
        if (comma == std::string_view::npos) return items;
        text.remove_prefix(comma + 1);
    }
}

}  // namespace

void settings_set(Setting setting, std::string_view text) {
    const bool is_list = settings_table()[static_cast<std::size_t>(setting)].is_list();
    auto items = is_list && !text.empty() ? split_at_commas(text) : std::make_shared<const SettingList>();
    SettingEntry& entry = entry_of(setting);
    std::scoped_lock lock{values().mutex};
    entry.value = text.empty() ? Text{} : Text{std::string{text}};
    entry.items = std::move(items);
    entry.number = text_int(text);
}

bool settings_set_by_key(std::string_view key, std::string_view text) {
    for (const SettingSpec& spec : settings_table()) {
        if (!str_equal_nocase(spec.key, key)) continue;
        settings_set(spec.id, text);
        return true;
    }
    return false;
}

void settings_set_defaults() {
    for (const SettingSpec& spec : settings_table()) settings_set(spec.id, spec.initial);
}

Text settings_get(Setting setting) {
    std::scoped_lock lock{values().mutex};
    return entry_of(setting).value;
}

std::int32_t settings_get_int(Setting setting) {
    return entry_of(setting).number;
}

bool settings_get_bool(Setting setting) {
    return settings_get_int(setting) != 0;
}

std::shared_ptr<const SettingList> settings_list(Setting setting) {
    std::scoped_lock lock{values().mutex};
    return entry_of(setting).items;
}

void settings_free_all() {
    for (const SettingSpec& spec : settings_table()) settings_set(spec.id, {});
}
