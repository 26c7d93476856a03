// M4A (MPEG-4) files. Their tags are read through TagLib, which first builds a tree of all boxes and goes down into
// each; so we look at number and depth of the boxes before: what is beyond any real file stays without tags. The cover
// is found by walking the boxes ourselves, which reads nothing of the sound.
#pragma once

#include <optional>
#include <string>

#include "meta/embedded_picture.h"
#include "meta/file_window.h"
#include "meta/media_facts.h"

constexpr int kDeepestBox = 16;
constexpr int kMostBoxes = 10'000;

// Everything but the file's size and time.
MediaFacts m4a_read_tags(FileWindow& file);
MediaFacts m4a_read_tags(const std::string& path);

// The first picture of the cover list ("covr" of the item list).
std::optional<EmbeddedPicture> m4a_find_picture(FileWindow& file);
