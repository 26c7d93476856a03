// The XML library file of iTunes: a property list with a dictionary of tracks and an array of playlists. It is read as
// a stream: memory holds the songs, packed, and the entries of one playlist.
#pragma once

#include <string>
#include <vector>

#include "core/thread.h"
#include "import/library_item.h"
#include "meta/file_window.h"

// Hands every entry of every playlist to the sink, except those of the first and of the one called "Library", which are
// the whole library. Only tracks that are files count.
void itunes_xml_read(FileWindow& file, const LibraryEntrySink& sink, const RunningFlag* running = nullptr);

// The path of a "file://localhost/..." or "file:///..." location; nullopt for others.
Text itunes_location_path(std::string_view location);

// Reads the library at path into the store. It replaces the playlists of these names, which an earlier reading left.
// The flag (null: none) ends it early. Returns the names of the playlists.
std::vector<std::string> itunes_xml_import(const std::string& path, const std::vector<std::string>& former_names = {},
                                           const RunningFlag* running = nullptr);
