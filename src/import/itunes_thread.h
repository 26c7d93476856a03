// The threads that keep the music libraries imported: the XML library that the setting `ituneslib` names and the iPod
// database that `ipoddb` names. Each library is read when the scanner has been through the content directories once, so
// that tracks which lie there are known by their own tags, and again whenever its file has changed.
#pragma once

#include "core/thread.h"

// Whether a library may be read for the first time.
using LibraryMayBegin = bool (*)();

// Nothing is started when the setting is empty.
void itunes_start(RunningFlag& running, LibraryMayBegin may_begin);
void ipod_start(RunningFlag& running, LibraryMayBegin may_begin);
