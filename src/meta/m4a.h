// M4A (MPEG-4) files, through TagLib. It builds a tree of all boxes before anything else and goes down into each, so
// their number and depth are looked at first: what is beyond any real file stays without tags.
#pragma once

#include "meta/audio_tags.h"
#include "meta/file_window.h"

constexpr int kDeepestBox = 16;
constexpr int kMostBoxes = 10'000;

// Everything but the file's size and time.
AudioTags m4a_read_tags(FileWindow& file);
