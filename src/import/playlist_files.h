// Playlist files become playlists of the store. Every entry that can be found becomes an item of the playlist; an item
// that the store has already joins it. Reading a playlist again replaces its former contents. The playlist has the
// given name, or that of its file if the name is empty.
//
// A file that cannot be opened is ignored. Entries that cannot be found are logged and left out. Nothing is read after
// the 100,000th entry, nor after the first 64 MiB (4 MiB of an XML file). An import ends early when the flag (null:
// none) stops running.
#pragma once

#include <string>
#include <string_view>

#include "core/thread.h"

void m3u_import(const std::string& path, std::string_view name = {}, const RunningFlag* running = nullptr);
void pls_import(const std::string& path, std::string_view name = {}, const RunningFlag* running = nullptr);
void xml_playlist_import(const std::string& path, std::string_view name = {}, const RunningFlag* running = nullptr);

// The one of them that the file's extension asks for; nothing for other files.
void playlist_import(const std::string& path, const RunningFlag& running);

// Empties the playlists whose files lie below the directory (empty: anywhere) and are gone since they were imported.
// Called by the scanner after each pass.
void playlists_forget_vanished(std::string_view directory);
