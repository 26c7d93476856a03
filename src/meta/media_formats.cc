#include "meta/media_formats.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <span>
#include <string_view>

#include "core/str.h"
#include "meta/asf.h"
#include "meta/asf_picture.h"
#include "meta/exif.h"
#include "meta/m4a.h"
#include "meta/mp3.h"
#include "meta/pcm.h"
#include "meta/video.h"
#include "meta/wav.h"

namespace {

constexpr MediaType kMusic = MediaType::music, kPicture = MediaType::picture, kVideo = MediaType::video;
constexpr bool kFile = false, kPlaylist = true;

// clang-format off
constexpr MediaFormat kFormats[] = {
    {"mp3",   kMusic,   "audio/mpeg",             "mp3",     kFile, mp3_read_tags,      mp3_find_picture},
    {"wav",   kMusic,   "audio/x-wav",            "audio",   kFile, wav_read_tags,      wav_find_picture},
    {"m4a",   kMusic,   "audio/mp4",              "audio",   kFile, m4a_read_tags,      m4a_find_picture},
    {"pcm",   kMusic,   "audio/L16",              "audio",   kFile, pcm_read_facts},
    {"lpcm",  kMusic,   "audio/L16",              "audio",   kFile, pcm_read_facts},
    {"wma",   kMusic,   "audio/x-ms-wma",         "wma",     kFile, wma_read_tags,      wma_find_picture},
    {"m3u",   kMusic,   "audio/x-mpegurl",        "",        kPlaylist},
    {"wpl",   kMusic,   "",                       "",        kPlaylist},
    {"pls",   kMusic,   "audio/x-scpls",          "",        kPlaylist},
    {"jpg",   kPicture, "image/jpeg",             "picture", kFile, picture_read_facts},
    {"jpeg",  kPicture, "image/jpeg",             "picture", kFile, picture_read_facts},
    {"gif",   kPicture, "image/gif"},
    {"png",   kPicture, "image/png"},
    {"yuv",   kPicture, "image/x-ycbcr-yuv420"},
    {"avi",   kVideo,   "video/x-msvideo",        "video",   kFile, video_read_facts},
    {"mpg",   kVideo,   "video/mpeg",             "video",   kFile, video_read_facts},
    {"mpeg",  kVideo,   "video/mpeg",             "video",   kFile, video_read_facts},
    {"mpeg2", kVideo,   "video/mpeg2",            "video",   kFile, video_read_facts},
    {"mp4",   kVideo,   "video/mp4",              "video",   kFile, video_read_facts},
    {"wmv",   kVideo,   "video/x-ms-wmv",         "video",   kFile, video_read_facts},
    {"vob",   kVideo,   "video/dvd",              "video",   kFile, video_read_facts},
};
// clang-format on
static_assert(std::ranges::all_of(kFormats, [](const MediaFormat& format) {
    return std::ranges::count(kFormats, format.extension, &MediaFormat::extension) == 1;
}));

// Null if there is none.
const MediaFormat* row_of(std::string_view extension) {
    const auto* const row = std::ranges::find_if(
        kFormats, [extension](const MediaFormat& format) { return str_equal_nocase(format.extension, extension); });
    return row != std::end(kFormats) ? row : nullptr;
}

}  // namespace

std::optional<MediaType> media_type_of(char letter) {
    for (const MediaType type : {MediaType::music, MediaType::picture, MediaType::video})
        if (char_upper(letter) == static_cast<char>(type)) return type;
    return std::nullopt;
}

std::span<const MediaFormat> media_formats() {
    return kFormats;
}

const MediaFormat* media_format_of(std::string_view path) {
    return row_of(path_extension(path));
}

std::string_view mime_of_extension(std::string_view extension) {
    const MediaFormat* const format = row_of(extension);
    return format != nullptr ? format->mime : std::string_view{};
}
