#include "meta/video.h"

#include <ctime>
#include <string>

#include "core/file.h"
#include "core/time_text.h"
#include "meta/media_facts.h"

MediaFacts video_read_facts(const std::string& path) {
    const auto status = file_status(path);
    if (!status) return {};
    return {.date = date_text(static_cast<std::time_t>(status->modified)), .size = status->size};
}
