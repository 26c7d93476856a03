#include "handlers/picture_load.h"

#include <cstdint>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "core/bytes.h"
#include "core/file.h"
#include "core/log.h"
#include "core/process_wide.h"
#include "core/semaphore.h"
#include "meta/file_window.h"
#include "meta/jpeg_codec.h"
#include "meta/jpeg_size.h"
#include "meta/scale.h"
#include "net/client.h"

namespace {

// Fetched pictures in memory at once, of up to 16 MiB each.
constexpr std::int64_t kMaxFetches = 4;
constexpr int kFetchWaitMs = 60'000;

constexpr std::string_view kWebcamMark = "#_webcam.jpg";
constexpr int kPlaceholderSide = 100;
constexpr int kMidGrey = 0x80;

// A type of its own, as process_wide() keeps one object of each type.
struct FetchSemaphore : Semaphore {
    FetchSemaphore() : Semaphore(kMaxFetches) {}
};

RgbPicture placeholder() {
    RgbPicture picture{kPlaceholderSide, kPlaceholderSide};
    std::memset(picture.pixels.get(), kMidGrey, picture.bytes());
    return picture;
}

// Leaves the source empty if it cannot be fetched, or has to wait too long for others.
void fetch(PictureSource& source) {
    std::string_view url = source.name;
    if (url.ends_with(kWebcamMark)) url.remove_suffix(kWebcamMark.size());
    source.fetch_reservation = Reservation::take(process_wide<FetchSemaphore>(), 1, kFetchWaitMs);
    if (!source.fetch_reservation) return;
    if (auto answer = http_talk(TalkMode::get, url)) source.fetched = std::move(*answer).take();
}

FileWindow window_of(const PictureSource& source) {
    return source.fetched ? FileWindow{as_bytes(*source.fetched)} : FileWindow{source.file, source.file_size};
}

// Returns nullopt if the bytes are not a good JPEG.
std::optional<RgbPicture> decode(FileWindow&& window, int width, int height, int mode) {
    JpegDecoder decoder{window};
    RgbPicture picture;
    if (!decoder.start()) return std::nullopt;
    if (!picture_scale(decoder, picture_place(decoder.width(), decoder.height(), width, height, mode), picture))
        return std::nullopt;
    // A file that ends before its picture does shows the placeholder, not a picture with a grey rest.
    if (!decoder.finish()) return std::nullopt;
    return picture;
}

}  // namespace

std::optional<PictureSource> picture_open(const std::string& path_or_url) try {
    PictureSource source;
    source.name = path_or_url;
    if (path_or_url.starts_with("http://")) {
        fetch(source);
    } else {
        source.file = file_open_regular(path_or_url);
        const auto status = source.file ? source.file.status() : std::nullopt;
        if (status) source.file_size = static_cast<std::uint64_t>(status->size);
    }
    return source;
} catch (const std::bad_alloc&) {
    return std::nullopt;
}

std::int64_t picture_source_pixels(const PictureSource& source) {
    FileWindow window = window_of(source);
    const JpegSize size = jpeg_find_size(window);
    const std::int64_t pixels = std::int64_t{size.width} * size.height;
    // Larger sources become the placeholder, which takes next to nothing.
    return pixels <= kMaxSourcePixels ? pixels : 0;
}

RgbPicture jpeg_load_scaled(const PictureSource& source, int width, int height, int mode) {
    if (!source.file && !source.fetched) return placeholder();
    auto picture = decode(window_of(source), width, height, mode);
    if (picture) return std::move(*picture);
    log_message(LOG_ERROR, LOG_SYSTEM, "Error on decoding JPEG %s - skipped\n", source.name.c_str());
    return placeholder();
}
