// The Filter argument of Browse and Search: which optional elements and attributes an answer carries. Compiled once per
// request; a client's filter of any length costs nothing for each object.
#pragma once

#include <cstdint>
#include <string_view>

#include "core/str.h"

enum class DidlField : std::uint8_t {
    album,
    album_art,
    artist,
    creator,
    date,
    description,
    duration,
    genre,
    icon,
    keywords,
    playlist,
    resource,
    size,
    track_number,
};

// True without a filter and for one that begins with "*"; otherwise when the name stands in it at the end of an entry
// ("artist" in "upnp:artist,res@size"): before a blank, ",", "@", a control byte, any byte from 0x80 on, or the end.
bool didl_filter_has(const Text& filter, std::string_view name);

class DidlFilter {
public:
    explicit DidlFilter(const Text& filter);
    bool has(DidlField field) const { return (fields_ >> static_cast<unsigned>(field) & 1u) != 0; }

private:
    std::uint32_t fields_ = 0;
};
