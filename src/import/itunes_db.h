// The iTunesDB of an iPod: records of four letters, a header length and a total length or count, little-endian. Songs
// ("mhit") come first, playlists ("mhyp") refer to them by number; texts hang below both as data objects ("mhod").
#pragma once

#include <string>
#include <vector>

#include "core/thread.h"
#include "import/library_item.h"
#include "meta/file_window.h"
#include "meta/tag_text.h"

// Hands every entry of every playlist but the first, which is the whole library, to the sink. mount_path stands in for
// what the locations of songs have in front of their folder ("F00:ABCD.mp3"). The answer is the message about what
// ended the reading; empty at a proper end, and when the sink or the flag (null: none) ended it.
std::string itunesdb_read(FileWindow& file, const std::string& mount_path, TagCharset charset,
                          const LibraryEntrySink& sink, const RunningFlag* running = nullptr);

// The folder of the songs: "Music" beside the folder that holds the database, with a "/" at its end.
std::string itunesdb_mount_path(const std::string& path);

// Reads the database at path into the store, in place of the playlists of these names, which an earlier reading left;
// null or a flag that ends it early. What ended it goes to standard error. The answer is the names of the playlists.
std::vector<std::string> itunesdb_import(const std::string& path, const std::vector<std::string>& former_names = {},
                                         const RunningFlag* running = nullptr);
