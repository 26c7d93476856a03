// Playlist files as playlists of the store: every entry that can be found becomes an item that names the playlist, or
// joins it when the store has the item already. Reading a playlist again replaces what it had before. The playlist is
// called as asked for, else after its file.
//
// A file that cannot be opened is ignored; entries that cannot be found are logged and left out, and so is what follows
// the 100,000th and what lies behind the first 64 MiB (4 MiB of an XML file). A flag (null: none) that stops running
// ends an import early.
#pragma once

#include <string>
#include <string_view>

#include "core/thread.h"

void m3u_import(const std::string& path, std::string_view name = {}, const RunningFlag* running = nullptr);
void pls_import(const std::string& path, std::string_view name = {}, const RunningFlag* running = nullptr);
void xml_playlist_import(const std::string& path, std::string_view name = {}, const RunningFlag* running = nullptr);

// The one of them that the file's extension asks for; nothing for other files.
void playlist_import(const std::string& path, const RunningFlag& running);

// Empties the playlists whose files are gone since they were imported. Called by the scanner after each pass.
void playlists_forget_vanished();
