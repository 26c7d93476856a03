// Walking one directory tree: every file with a known extension that is new to the store, or younger than the item
// there, goes to its reader. Directories are walked through handles, so relative paths work and the working directory
// of the process does not change. A known and unchanged file costs one file status and one look-up in the store; the
// store is not locked while the disk is read.
#pragma once

#include <string>
#include <vector>

#include "core/file.h"
#include "core/thread.h"
#include "scan/content_directories.h"

// Playlist files are read at the end of a pass: by then the files that they name are in the store, read by their own
// readers.
struct FoundPlaylist {
    std::string path;
    ScanRestriction restriction;
};
using FoundPlaylists = std::vector<FoundPlaylist>;

// At most 21 levels. Returns within milliseconds once the flag stops running. What cannot be entered, listed or read is
// logged and skipped, as are procfs and sysfs. A symbolic link to a directory is followed unless that directory is on
// the current path. Below a directory that was entered a second time, links are followed only to directories that were
// never entered; so the walk ends.
void scan_directory(const std::string& path, const RunningFlag& running, ScanRestriction restriction,
                    FoundPlaylists& playlists);
// The target's directory. The directories between it and its content directory count as its current path.
void scan_directory(const ScanTarget& target, const RunningFlag& running, FoundPlaylists& playlists);

void scan_playlists(const FoundPlaylists& playlists, const RunningFlag& running);

// Hands a file to the reader of its extension if it is new to the store or younger than the item there.
void scan_file(const std::string& path, const FileStatus& status, ScanRestriction restriction, bool compilation);
