#include "upnp/didl_filter.h"

#include <array>
#include <cstddef>
#include <string_view>
#include "core/str.h"

namespace {

struct FieldName {
    DidlField field;
    std::string_view name;
};

constexpr auto kFieldNames = std::to_array<FieldName>({
    {DidlField::album, "album"},
    {DidlField::album_art, "albumArtURI"},
    {DidlField::artist, "artist"},
    {DidlField::creator, "creator"},
    {DidlField::date, "date"},
    {DidlField::description, "description"},
    {DidlField::duration, "duration"},
    {DidlField::genre, "genre"},
    {DidlField::icon, "icon"},
    {DidlField::keywords, "keywords"},
    {DidlField::playlist, "playlist"},
    {DidlField::resource, "res"},
    {DidlField::size, "size"},
    {DidlField::track_number, "originalTrackNumber"},
});

// Kept on purpose: bytes from 0x80 on count as below 33, so a name before one is found.
bool ends_entry(char c) {
    return static_cast<signed char>(c) < 33 || c == ',' || c == '@';
}

}  // namespace

bool didl_filter_has(const Text& filter, std::string_view name) {
    if (!filter || filter->starts_with('*')) return true;
    const std::string_view text = *filter;
    for (std::size_t at = text.find(name); at != std::string_view::npos; at = text.find(name, at + name.size())) {
        const std::size_t after = at + name.size();
        if (after == text.size() || ends_entry(text[after])) return true;
    }
    return false;
}

DidlFilter::DidlFilter(const Text& filter) {
    for (const FieldName& known : kFieldNames)
        if (didl_filter_has(filter, known.name)) fields_ |= 1u << static_cast<unsigned>(known.field);
}
