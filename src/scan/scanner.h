// The directory scanner: one thread that walks the content directories and repeats this every `scantime` minutes, or
// when a rescan is asked for. Vanished files leave the tree after each repeated pass. How a tree is walked is in
// scan/tree_walk.h, which files are read by whom in meta/media_formats.h.
#pragma once

#include <cstdint>
#include <string_view>

#include "core/thread.h"
#include "scan/content_directories.h"

// Starts the scanner thread and sets its running flag; the thread clears it as its last act. The first pass waits (at
// most a quarter of an hour) while the watched flag, if there is one, is running: it belongs to the thread that reads
// the persistence file. A rescan that was still pending is forgotten.
void scan_start(RunningFlag& running, const RunningFlag* watched);
// What that thread does, in the calling thread. The flag must be set; it is cleared at the end.
void scan_thread(RunningFlag& running, const RunningFlag* watched);

struct ScanStatus {
    bool scanning = false;
    std::int32_t seconds_to_next = 0;  // in steps of ten
};
ScanStatus scan_status();

enum class RescanAnswer { initiated, already_running, invalid };
// Asks for a pass over one directory, or over all content directories if it is empty. Changes nothing if a rescan is
// still pending or running, or if the directory is not one of ours (see rescan_target).
RescanAnswer scan_request_rescan(std::string_view directory);
