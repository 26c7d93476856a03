#include "scan/readers.h"

#include "core/str.h"
#include "meta/mp3_item.h"
#include "meta/video_item.h"

namespace {

constexpr MediaReader kReaders[] = {
    {"mp3", ReaderType::music, mp3_add_item},     {"avi", ReaderType::video, video_add_item},
    {"mpg", ReaderType::video, video_add_item},   {"mp4", ReaderType::video, video_add_item},
    {"wmv", ReaderType::video, video_add_item},   {"vob", ReaderType::video, video_add_item},
    {"mpeg2", ReaderType::video, video_add_item}, {"mpeg", ReaderType::video, video_add_item},
};

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
