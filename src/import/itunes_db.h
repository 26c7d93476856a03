// Reads the iTunesDB of an iPod: songs first, then playlists that refer to them by number. How the file is built is
// told at the head of itunes_db.cc.
#pragma once

#include <string>
#include <vector>

#include "core/thread.h"
#include "import/library_item.h"
#include "meta/file_window.h"
#include "meta/tag_text.h"

// Hands every entry of every playlist to the sink, except those of the first, which is the whole library. mount_path
// replaces what the locations of songs have before their folder ("F00:ABCD.mp3"). Returns the message about what ended
// the reading; it is empty at a proper end, and if the sink or the flag (null: none) ended it.
std::string itunesdb_read(FileWindow& file, const std::string& mount_path, TagCharset charset,
                          const LibraryEntrySink& sink, const RunningFlag* running = nullptr);

// The folder of the songs: "Music" beside the folder that holds the database, with a "/" at its end.
std::string itunesdb_mount_path(const std::string& path);

// Reads the database at path into the store. It replaces the playlists of these names, which an earlier reading left.
// The flag (null: none) ends it early. What ended it is printed to standard error. Returns the names of the playlists.
std::vector<std::string> itunesdb_import(const std::string& path, const std::vector<std::string>& former_names = {},
                                         const RunningFlag* running = nullptr);
