// The one place where a media file becomes an item of the store.
#pragma once

#include <string>

#include "db/add_item.h"
#include "meta/media_formats.h"

// The class under which the store lists files of this type.
ObjectClass media_class_of(MediaType type);

// The item of a file in which its reader found this.
NewItem file_item(const std::string& path, MediaType type, MediaFacts&& facts);

// Reads the file with its format's reader and adds the item; a refusal of the store is logged. The compilation flag, of
// the file's directory, counts for music only. The format must have a reader.
void add_media_file(const std::string& path, const MediaFormat& format, bool compilation);
