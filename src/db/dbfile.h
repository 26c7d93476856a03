// The persistence file keeps the library between two runs, so that a restart need not read the media again. One thread
// reads it once at start, another rewrites it some seconds after something changed; for plays alone it does so after
// five minutes at the earliest, and at the end. Without the setting dbfile nothing is read or written. A second file
// (externaldbfile), made by others, is only ever read.
#pragma once

#include "core/thread.h"
#include "db/dbfile_text.h"
#include "db/tree.h"

// Sets the flag before it returns, so that a scanner that is started next waits for the reader. Does nothing when there
// is no file, when its path is a directory, or when a reader runs (the last two are logged).
void dbfile_start_reader(RunningFlag& running);
void dbfile_start_writer(RunningFlag& running);
// The file of others: read after the persistence file, whose reader has the flag `first`, and again whenever it has
// changed and then stayed the same for some seconds.
void dbfile_start_external(RunningFlag& running, const RunningFlag& first);

// The threads' routines; they clear the flag as their last act.
void dbfile_read_thread(RunningFlag& running);
void dbfile_write_thread(RunningFlag& running);

// Adds the record whose "<SOI>" was just read; one that cannot be added is logged.
void dbfile_read_record(DbLines& lines);

// Appends every item in the container's list. False if the flag stopped running meanwhile.
bool dbfile_write_items(const StoreLock& lock, const MediaContainer* container, DbText& text,
                        const RunningFlag& running);
