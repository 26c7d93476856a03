// The threads that keep the music libraries imported: the XML library that the setting `ituneslib` names and the iPod
// database that `ipoddb` names. Each library is read after the scanner's first pass, so that tracks in the content
// directories are known by their own tags, and again whenever its file has changed.
#pragma once

#include "core/thread.h"

// Whether a library may be read for the first time.
using LibraryMayBegin = bool (*)();

// Nothing is started if the setting is empty.
void itunes_start(RunningFlag& running, LibraryMayBegin may_begin);
void ipod_start(RunningFlag& running, LibraryMayBegin may_begin);
