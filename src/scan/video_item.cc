#include "scan/video_item.h"

#include "core/file.h"
#include "core/log.h"
#include "core/text_clean.h"
#include "core/time_text.h"
#include "db/add_item.h"

void video_add_item(const std::string& path, bool /*compilation*/) {
    const auto status = file_status(path);
    if (!status) return;
    // Kept on purpose: no modification time, so the video comes here at every scan and the store keeps the one it has.
    const AddResult result = db_add_item({.title = title_from_path(path),
                                          .media_class = ObjectClass::movie,
                                          .date = date_text(static_cast<std::time_t>(status->modified)),
                                          .path = path,
                                          .size = status->size});
    if (result == AddResult::failed) log_message(LOG_PROBLEM, LOG_DB, "failed to add video: %s\n", path.c_str());
}
