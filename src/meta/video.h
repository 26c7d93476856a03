// Video files: their containers are not looked into.
#pragma once

#include <string>

#include "meta/media_facts.h"

// The file's size and the date of its time; nothing if its status cannot be read. Kept on purpose: no modification
// time, so a video is read at every scan, and the store keeps the one it has.
MediaFacts video_read_facts(const std::string& path);
