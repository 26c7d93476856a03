// A container as an m3u playlist, for receivers that play whole folders.
#pragma once

#include <string_view>

#include "core/str.h"

// "#EXTM3U" and one URL a line for every track at and below the container, each container's own tracks in the order in
// which Browse lists them; base_url ends in "/". Stops behind 1,000,000 bytes. Missing when the text is not the id of a
// container: digits to its end, or to a ".". Takes the store lock.
Text m3u_container(std::string_view base_url, std::string_view container_id);
