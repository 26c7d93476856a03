#include "scan/readers.h"

#include "core/str.h"
#include "import/playlist_files.h"
#include "meta/audio_item.h"
#include "meta/wma.h"
#include "scan/mp3_item.h"
#include "scan/picture_item.h"
#include "scan/video_item.h"

namespace {

// Under the name of the file.
template <auto import>
void import_as(const std::string& path, const RunningFlag& running) {
    import(path, {}, &running);
}

// clang-format off
constexpr MediaReader kReaders[] = {
    {"mp3",   ReaderType::music, mp3_add_item},
    {"wav",   ReaderType::music, audio_add_item},
    {"m4a",   ReaderType::music, audio_add_item},
    {"pcm",   ReaderType::music, audio_add_item},
    {"lpcm",  ReaderType::music, audio_add_item},
    {"wma",   ReaderType::music, wma_add_item},
    {"m3u",   ReaderType::music, nullptr, import_as<m3u_import>},
    {"wpl",   ReaderType::music, nullptr, import_as<xml_playlist_import>},
    {"pls",   ReaderType::music, nullptr, import_as<pls_import>},
    {"jpg",   ReaderType::picture, picture_add_item},
    {"jpeg",  ReaderType::picture, picture_add_item},
    {"avi",   ReaderType::video, video_add_item},
    {"mpg",   ReaderType::video, video_add_item},
    {"mp4",   ReaderType::video, video_add_item},
    {"wmv",   ReaderType::video, video_add_item},
    {"vob",   ReaderType::video, video_add_item},
    {"mpeg2", ReaderType::video, video_add_item},
    {"mpeg",  ReaderType::video, video_add_item},
};
// clang-format on

}  // namespace

std::optional<ReaderType> reader_type_of(char letter) {
    switch (char_upper(letter)) {
        case 'M':
            return ReaderType::music;
        case 'P':
            return ReaderType::picture;
        case 'V':
            return ReaderType::video;
        default:
            return std::nullopt;
    }
}

ObjectClass reader_class(ReaderType type) {
    switch (type) {
        case ReaderType::picture:
            return ObjectClass::photo;
        case ReaderType::video:
            return ObjectClass::movie;
        case ReaderType::music:
            break;
    }
    return ObjectClass::music_track;
}

std::span<const MediaReader> media_readers() {
    return kReaders;
}
