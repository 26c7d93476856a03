#include "scan/picture_item.h"

#include "core/log.h"
#include "core/text_clean.h"
#include "db/add_item.h"
#include "meta/exif.h"

void picture_add_item(const std::string& path, bool /*compilation*/) {
    PictureInfo info = exif_read_info(path);
    const AddResult result = db_add_item({.title = title_from_path(path),
                                          .media_class = ObjectClass::photo,
                                          .date = std::move(info.date),
                                          .path = path,
                                          .description = std::move(info.description),
                                          .width = info.width,
                                          .height = info.height,
                                          .size = info.size,
                                          .modified = info.modified});
    if (result == AddResult::failed) log_message(LOG_PROBLEM, LOG_DB, "failed to add picture: %s\n", path.c_str());
}
