// The head of an ASF file (Advanced Systems Format, what .wma files are), read by patterns instead of by walking its
// objects: broken and unusual writers put the pieces anywhere, and the patterns find them there too. A pure function
// over the first bytes of a file; linear in them whatever they hold.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "core/bytes.h"
#include "meta/media_facts.h"
#include "meta/tag_text.h"

constexpr std::size_t kAsfHeadBytes = 60'000;  // nothing after this file offset is looked at
constexpr std::size_t kAsfLeastBytes = 50;     // shorter files say nothing

// What the head (the file's first kAsfHeadBytes bytes, or all of them) says. Empty unless it begins as ASF files do.
// Minutes of the duration are not carried into hours ("0:75:00.000"); bitrate, size and time stay unknown.
MediaFacts asf_read(Bytes head, std::uint64_t file_size, TagCharset charset);

// The facts of a WMA file. One read of at most kAsfHeadBytes.
MediaFacts wma_read_tags(const std::string& path);
