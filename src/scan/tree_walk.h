// Walking one directory tree: every file with a known extension that the store does not have, or has in an older state,
// goes to its reader. Directories are walked through handles, so relative paths work and the working directory of the
// process stays where it is. A file that is known and unchanged costs one file status and one look-up in the store; the
// store's lock is never held while the disk is looked at.
#pragma once

#include <string>
#include <vector>

#include "core/file.h"
#include "core/thread.h"
#include "scan/content_directories.h"

// A playlist file waits until all of a pass has been walked: what it names then is in the store already, read by its
// own reader.
struct FoundPlaylist {
    std::string path;
    ScanRestriction restriction;
};
using FoundPlaylists = std::vector<FoundPlaylist>;

// At most 21 levels. Returns within milliseconds once the flag stops running. What cannot be entered, listed or looked
// at is logged and left out, as are procfs and sysfs. A symbolic link to a directory is followed unless that lies on
// the current path; below a directory that was entered before, only to what was not, so that the walk comes to an end.
void scan_directory(const std::string& path, const RunningFlag& running, ScanRestriction restriction,
                    FoundPlaylists& playlists);
// The target's directory. The directories between it and its content directory count as its current path.
void scan_directory(const ScanTarget& target, const RunningFlag& running, FoundPlaylists& playlists);

void scan_playlists(const FoundPlaylists& playlists, const RunningFlag& running);

// Hands a file to the reader of its extension when the store does not know it, or knows an older one.
void scan_file(const std::string& path, const FileStatus& status, ScanRestriction restriction, bool compilation);
