// A container as an m3u playlist, for clients that play whole folders.
#pragma once

#include <cstddef>
#include <string_view>

#include "core/str.h"

// A track stands below the music folder once for every view: no player wants so long a list.
constexpr std::size_t kMaxM3uBytes = 4'000'000;

// "#EXTM3U" and one URL a line for every track at and below the container, each container's own tracks in the order in
// which Browse lists them; base_url ends in "/". A container stops after 1,000,000 bytes of its own tracks, the whole
// text after kMaxM3uBytes. Returns nullopt if container_id is not the id of a container: digits up to its end or up to
// a ".". Takes the store lock, once for each container.
Text m3u_container(std::string_view base_url, std::string_view container_id);
