#include "meta/asf_picture.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include "meta/embedded_picture.h"
#include "meta/file_window.h"

namespace {

constexpr std::size_t kHeaderSizeAt = 16;  // after the object's id
constexpr std::string_view kPictureName{"W\0M\0/\0P\0i\0c\0t\0u\0r\0e\0\0\0", 22};
constexpr std::uint32_t kByteArray = 1;

struct Attribute {
    std::uint64_t data = 0;
    std::uint32_t size = 0;
};

// Reads the fields around an attribute's name. Two objects hold attributes: in the metadata library the name's length,
// the type and the data's length come before the name; in the extended content description type and length follow it.
std::optional<Attribute> attribute_around(FileWindow& file, std::uint64_t name) {
    const std::uint64_t after = name + kPictureName.size();
    if (name >= 8 && file.little_endian(name - 8, 2) == kPictureName.size() &&
        file.little_endian(name - 6, 2) == kByteArray) {
        const auto size = file.little_endian(name - 4, 4);
        if (size) return Attribute{.data = after, .size = *size};
    }
    const auto size = file.little_endian(after + 2, 2);
    if (file.little_endian(after, 2) != kByteArray || !size) return std::nullopt;
    return Attribute{.data = after + 4, .size = *size};
}

// Reads a text of two-byte units up to a zero unit into text (null: nobody wants it) and returns the offset after it.
std::optional<std::uint64_t> after_text(FileWindow& file, std::uint64_t at, std::uint64_t end, std::string* text) {
    constexpr std::size_t kMaxUnits = 2048;
    for (std::size_t units = 0; units < kMaxUnits && at + 2 <= end; ++units, at += 2) {
        const auto unit = file.little_endian(at, 2);
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
    const auto size = file.little_endian(attribute.data + 1, 4);
    EmbeddedPicture picture{.mime = {}};
    const auto description = after_text(file, attribute.data + kTypeAndSize, end, &picture.mime);
    const auto start = description ? after_text(file, *description, end, nullptr) : std::nullopt;
    if (!size || !start || *size == 0 || *size > end - *start || !is_mime(picture.mime)) return std::nullopt;
    picture.offset = *start;
    picture.length = *size;
    return picture;
}

}  // namespace

std::optional<EmbeddedPicture> wma_find_picture(FileWindow& file) {
    const auto low = file.little_endian(kHeaderSizeAt, 4), high = file.little_endian(kHeaderSizeAt + 4, 4);
    if (!low || !high) return std::nullopt;
    const std::uint64_t end = std::min(kMaxCoverSearch, std::uint64_t{*high} << 32 | *low);
    constexpr int kMostNames = 64;  // each is looked at through windows of its own
    std::uint64_t from = 0;
    for (int names = 0; names < kMostNames; ++names) {
        const auto name = file.find(kPictureName, from, end);
        if (!name) return std::nullopt;
        const auto attribute = attribute_around(file, *name);
        if (attribute) {
            if (auto picture = picture_in(file, *attribute)) return picture;
        }
        from = *name + kPictureName.size();
    }
    return std::nullopt;
}
