// The text formats of playlist files: M3U (one path a line, "#EXTINF:" lines with titles), PLS ("FileN=" lines) and XML
// playlists ("media" elements, as in WPL files). Nothing here looks for the files that are named, or knows the store.
// The line formats hold one line in memory.
#pragma once

#include <cstddef>
#include <functional>
#include <string_view>

#include "meta/file_window.h"

constexpr std::size_t kPlaylistLine = 1024;  // bytes of a line that count

// Called for each entry in order, with its text and the playlist's title for it (empty: none). The views are valid
// during the call. Returns false to end the reading.
using PlaylistEntrySink = std::function<bool(std::string_view entry, std::string_view title)>;

void m3u_read(FileWindow& file, const PlaylistEntrySink& sink);
void pls_read(FileWindow& file, const PlaylistEntrySink& sink);
void xml_playlist_read(std::string_view document, const PlaylistEntrySink& sink);
