#include "handlers/covers.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "core/bytes.h"
#include "core/file.h"
#include "db/store.h"
#include "http/file_sender.h"
#include "http/respond.h"
#include "meta/container_picture.h"
#include "meta/id3.h"
#include "meta/riff.h"
#include "meta/tag_text.h"

namespace {

// ---- looking for bytes

// An ID3 tag has no more: its size has 28 bits (ID3v2.4.0, section 3.1). The pictures of ASF headers are far smaller.
// Nothing is looked for farther on, in a file however large.
constexpr std::uint64_t kMaxSearch = 256 * 1024 * 1024;

// Where the text first stands in the file at or behind from, before end.
std::optional<std::uint64_t> find_in_file(FileWindow& file, std::string_view text, std::uint64_t from,
                                          std::uint64_t end) {
    while (from < end) {
        const Bytes here = file.at(from, FileWindow::kWindowBytes);
        if (here.size() < text.size()) return std::nullopt;
        const std::size_t found = as_text(here).find(text);
        if (found != std::string_view::npos) {
            if (from + found + text.size() > end) return std::nullopt;
            return from + found;
        }
        from += here.size() - (text.size() - 1);
    }
    return std::nullopt;
}

std::optional<std::uint32_t> big_endian_at(FileWindow& file, std::uint64_t offset, std::size_t width) {
    return ByteCursor{file.at(offset, width)}.big_endian(width);
}
std::optional<std::uint32_t> little_endian_at(FileWindow& file, std::uint64_t offset, std::size_t width) {
    return ByteCursor{file.at(offset, width)}.little_endian(width);
}

// ---- ID3

struct Frame {
    std::uint64_t data = 0;
    std::uint32_t size = 0;
};

// Kept on purpose: the first place behind the start where the letters stand, in the tag or not.
std::optional<Frame> find_picture_frame(FileWindow& file, std::uint64_t from, Id3v24Sizes v24_sizes) {
    const auto letters = find_in_file(file, "PIC", from, from + kMaxSearch);
    if (!letters) return std::nullopt;
    const bool long_form = *letters > 0 && as_text(file.at(*letters - 1, 1)) == "A";
    const std::uint64_t start = long_form ? *letters - 1 : *letters;
    const auto size = big_endian_at(file, start + (long_form ? 4 : 3), long_form ? 4 : 3);
    if (!size) return std::nullopt;
    const bool syncsafe = v24_sizes == Id3v24Sizes::syncsafe && big_endian_at(file, from + 3, 1) == 4;
    return Frame{.data = start + (long_form ? 10 : 6), .size = syncsafe ? id3_syncsafe(*size) : *size};
}

// ---- ASF (Advanced Systems Format, sections 3.10 and 4.7)

constexpr std::size_t kHeaderSizeAt = 16;  // behind the object's id
constexpr std::string_view kPictureName{"W\0M\0/\0P\0i\0c\0t\0u\0r\0e\0\0\0", 22};
constexpr std::uint32_t kByteArray = 1;

struct Attribute {
    std::uint64_t data = 0;
    std::uint32_t size = 0;
};

// What stands around the name in the two objects that hold attributes: in the metadata library name length, type and
// data length come before it, in the extended content description type and data length follow.
std::optional<Attribute> attribute_around(FileWindow& file, std::uint64_t name) {
    const std::uint64_t behind = name + kPictureName.size();
    if (name >= 8 && little_endian_at(file, name - 8, 2) == kPictureName.size() &&
        little_endian_at(file, name - 6, 2) == kByteArray) {
        const auto size = little_endian_at(file, name - 4, 4);
        if (size) return Attribute{.data = behind, .size = *size};
    }
    const auto size = little_endian_at(file, behind + 2, 2);
    if (little_endian_at(file, behind, 2) != kByteArray || !size) return std::nullopt;
    return Attribute{.data = behind + 4, .size = *size};
}

// A text of two-byte units up to a zero unit, and what follows it.
std::optional<std::uint64_t> behind_text(FileWindow& file, std::uint64_t at, std::uint64_t end, std::string* text) {
    constexpr std::size_t kMaxUnits = 2048;
    for (std::size_t units = 0; units < kMaxUnits && at + 2 <= end; ++units, at += 2) {
        const auto unit = little_endian_at(file, at, 2);
        if (!unit) return std::nullopt;
        if (*unit == 0) return at + 2;
        if (text != nullptr) text->push_back(*unit < 0x80 ? static_cast<char>(*unit) : '?');
    }
    return std::nullopt;
}

// A MIME type as a header line may hold it.
bool is_mime(std::string_view text) {
    return text.starts_with("image/") && text.size() < 64 &&
           std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < 0x7F; });
}

// Type (1 byte), size (4), MIME type, description, picture.
std::optional<EmbeddedPicture> picture_in(FileWindow& file, const Attribute& attribute) {
    constexpr std::uint64_t kTypeAndSize = 5;
    const std::uint64_t end = attribute.data + attribute.size;
    const auto size = little_endian_at(file, attribute.data + 1, 4);
    EmbeddedPicture picture{.mime = {}};
    const auto description = behind_text(file, attribute.data + kTypeAndSize, end, &picture.mime);
    const auto start = description ? behind_text(file, *description, end, nullptr) : std::nullopt;
    if (!size || !start || *size == 0 || *size > end - *start || !is_mime(picture.mime)) return std::nullopt;
    picture.offset = *start;
    picture.length = *size;
    return picture;
}

// ---- answering

HandlerResult send_picture(HttpRequest& request, const File& file, std::uint64_t file_size,
                           const EmbeddedPicture& picture) {
    const std::uint64_t there = std::min(picture.length, file_size - picture.offset);
    // Kept on purpose: the length that the tag says, also where the file ends before. The connection ends there, too.
    if (there < picture.length) request.close = true;
    request.content_type = picture.mime;
    request.content_length = static_cast<std::int64_t>(picture.length);
    const bool with_body = request.method != kHead;
    if (!http_send_header(request, 200, with_body ? BodyFollows::yes : BodyFollows::no)) return HandlerResult::close;
    if (!with_body) return HandlerResult::keep;
    FileSender sender{request.socket, file, static_cast<std::int64_t>(picture.offset)};
    const auto sent = sender.send(static_cast<std::int64_t>(there));
    return sent == request.content_length ? HandlerResult::keep : HandlerResult::close;
}

HandlerResult answer(HttpRequest& request, std::string_view mark, std::optional<EmbeddedPicture> (*find)(FileWindow&)) {
    const std::size_t at = request.url.find(mark);
    if (at == std::string::npos) return http_send_not_found(request);
    const auto resource = db_get_resource(std::string_view{request.url}.substr(at + mark.size()));
    if (!resource) return http_send_not_found(request);
    const File file = file_open_regular(resource->path);
    const auto status = file ? file.status() : std::nullopt;
    if (!status) return http_send_not_found(request);
    FileWindow window{file, static_cast<std::uint64_t>(status->size)};
    const auto picture = find(window);
    return picture ? send_picture(request, file, window.size(), *picture) : http_send_not_found(request);
}

std::optional<EmbeddedPicture> find_id3_picture(FileWindow& file, std::uint64_t from, Id3v24Sizes v24_sizes) {
    constexpr std::array kStart{std::byte{0xFF}, std::byte{0xD8}, std::byte{0xFF}, std::byte{0xE0}};
    const auto frame = find_picture_frame(file, from, v24_sizes);
    if (!frame) return std::nullopt;
    const std::uint64_t end = frame->data + frame->size, search_end = std::min(end, frame->data + kMaxSearch);
    std::size_t matched = 0;
    for (std::uint64_t at = frame->data; at < search_end;) {
        Bytes here = file.from(at);
        if (here.empty()) return std::nullopt;
        here = here.first(static_cast<std::size_t>(std::min<std::uint64_t>(here.size(), search_end - at)));
        for (const std::byte b : here) {
            ++at;
            // Kept on purpose: a byte that ends a match does not begin one.
            matched = b == kStart[matched] ? matched + 1 : 0;
            if (matched == kStart.size()) return EmbeddedPicture{.offset = at - 4, .length = end - at + 4};
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<EmbeddedPicture> mp3_find_picture(FileWindow& file) {
    return find_id3_picture(file, 0, Id3v24Sizes::plain);
}

std::optional<EmbeddedPicture> wav_find_picture(FileWindow& file) {
    const auto id3 = riff_find_id3(file);
    return id3 ? find_id3_picture(file, *id3, Id3v24Sizes::syncsafe) : std::nullopt;
}

std::optional<EmbeddedPicture> wma_find_picture(FileWindow& file) {
    const auto low = little_endian_at(file, kHeaderSizeAt, 4), high = little_endian_at(file, kHeaderSizeAt + 4, 4);
    if (!low || !high) return std::nullopt;
    const std::uint64_t end = std::min(kMaxSearch, std::uint64_t{*high} << 32 | *low);
    constexpr int kMostNames = 64;  // each is looked at through windows of its own
    std::uint64_t from = 0;
    for (int names = 0; names < kMostNames; ++names) {
        const auto name = find_in_file(file, kPictureName, from, end);
        if (!name) return std::nullopt;
        const auto attribute = attribute_around(file, *name);
        if (attribute) {
            if (auto picture = picture_in(file, *attribute)) return picture;
        }
        from = *name + kPictureName.size();
    }
    return std::nullopt;
}

HandlerResult handle_albumart_mp3(HttpRequest& request) {
    return answer(request, "albumart-mp3/", mp3_find_picture);
}

HandlerResult handle_albumart_wma(HttpRequest& request) {
    return answer(request, "albumart-wma/", wma_find_picture);
}

HandlerResult handle_albumart_m4a(HttpRequest& request) {
    return answer(request, "albumart-m4a/", m4a_find_picture);
}

HandlerResult handle_albumart_wav(HttpRequest& request) {
    return answer(request, "albumart-wav/", wav_find_picture);
}
