#include "scan/mp3_item.h"

#include "meta/mp3.h"

void mp3_add_item(const std::string& path, bool compilation) {
    audio_tags_add(path, mp3_read_tags(path), compilation, "mp3");
}
