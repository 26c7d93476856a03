#include "core/mime.h"

#include <array>

#include "core/str.h"

namespace {

struct MimeRow {
    std::string_view extension;
    std::string_view type;
};

constexpr auto kTypes = std::to_array<MimeRow>({
    {"mp3", "audio/mpeg"},           {"wav", "audio/x-wav"},     {"m4a", "audio/mp4"},       {"pcm", "audio/L16"},
    {"lpcm", "audio/L16"},           {"wma", "audio/x-ms-wma"},  {"m3u", "audio/x-mpegurl"}, {"pls", "audio/x-scpls"},
    {"jpg", "image/jpeg"},           {"jpeg", "image/jpeg"},     {"gif", "image/gif"},       {"png", "image/png"},
    {"yuv", "image/x-ycbcr-yuv420"}, {"avi", "video/x-msvideo"}, {"mpg", "video/mpeg"},      {"mpeg", "video/mpeg"},
    {"mpeg2", "video/mpeg2"},        {"mp4", "video/mp4"},       {"wmv", "video/x-ms-wmv"},  {"vob", "video/dvd"},
});

}  // namespace

std::string_view mime_of_extension(std::string_view extension) {
    for (const MimeRow& row : kTypes)
        if (str_equal_nocase(row.extension, extension)) return row.type;
    return {};
}
