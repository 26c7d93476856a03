#include "db/update.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

#include "core/str.h"
#include "db/keywords.h"
#include "db/objects.h"
#include "db/shared_text.h"
#include "db/store.h"
#include "db/tree.h"

namespace {

enum Status : int { kDone = 200, kBadArguments = 402, kOtherValue = 403, kFailed = 501 };

struct UpdateField {
    std::string_view name;
    SharedText MediaItem::*field;
    bool shared;  // kept in the pool
};

// In order: an abbreviation means the first field it begins ("d" is the date).
constexpr auto kFields = std::to_array<UpdateField>({
    {"title", &MediaItem::title, false},
    {"artist", &MediaItem::artist, true},
    {"album", &MediaItem::album, true},
    {"genre", &MediaItem::genre, true},
    {"date", &MediaItem::date, true},
    {"dc:description", &MediaItem::description, false},
    {"upnp:keywords", &MediaItem::keywords, false},
});

constexpr std::size_t kMaxValue = 1023;

// Refuses values that a listing could not carry, or that would smuggle lines into the persistence file.
bool is_acceptable(std::string_view value) {
    const auto is_control = [](char c) { return static_cast<unsigned char>(c) < 32 || c == 127; };
    return value.size() <= kMaxValue && std::none_of(value.begin(), value.end(), is_control);
}

int update_field(const StoreLock& lock, MediaItem& item, std::string_view name, std::string_view current,
                 std::string_view value) {
    const auto field = std::find_if(kFields.begin(), kFields.end(),
                                    [&](const UpdateField& candidate) { return candidate.name.starts_with(name); });
    if (field == kFields.end()) return kBadArguments;
    SharedText& text = item.*field->field;
    const auto present = text ? std::optional{text.view()} : std::nullopt;
    if (db_compare_text(present, current) != 0) return kOtherValue;
    if (field->field == &MediaItem::keywords) {
        item.keywords = SharedText{value};
        if (store(lock).tags != nullptr) keywords_add_item(lock, item);
    } else {
        text = field->shared ? tree_intern(lock, value) : SharedText{value};
    }
    tree_item_changed(lock);
    tree_mark_changed(lock, *tree_parent(lock, item));
    return kDone;
}

}  // namespace

int db_update_object(const Text& id_text, const Text& field_name, const Text& current_value, const Text& new_value) {
    if (!id_text || !field_name || field_name->empty()) return kFailed;
    const std::string_view value = text_or_empty(new_value);
    StoreLock lock;
    MediaItem* const item = db_find_item_by_id_text(lock, *id_text);
    if (item == nullptr) return kFailed;
    if (!is_acceptable(value)) return kBadArguments;
    return update_field(lock, *item, *field_name, text_or_empty(current_value), value);
}
