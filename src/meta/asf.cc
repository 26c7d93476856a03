// The parts of the head are found by what they look like, each on its own:
//
//     title, artist    five lengths, then five texts: at the usual place, or where five numbers fit what follows them
//     play time        a format block (two bytes of codec, plausible channels and sample rate), wherever it stands
//     all else         a list of descriptors (name, type, value), found by the name that mostly comes first, or by any
//                      name that begins "WM/" and has the right length; album and genre also by their names alone
//
// Every search goes forward over the head once, so none is worse than linear whatever the bytes are.
#include "meta/asf.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/bytes.h"
#include "core/file.h"
#include "core/str.h"
#include "core/time_text.h"
#include "meta/media_facts.h"
#include "meta/tag_text.h"

namespace {

using namespace std::string_view_literals;

constexpr std::size_t npos = std::string_view::npos;

// Advanced Systems Format, section 3: an object is a GUID of 16 bytes, its length in 8, then its data. The header
// object has 6 more bytes before its first child.
constexpr std::string_view kHeaderMark = "\x30\x26\xB2\x75"sv;      // how the header object's GUID begins
constexpr std::string_view kContentDescriptionMark = "\x33\x26"sv;  // and that of the content description
constexpr std::size_t kHeaderLength = 16, kFirstChild = 30, kFirstChildData = 54;
constexpr std::size_t kLengthFields = 5;  // title, author, copyright, description, rating
constexpr std::size_t kLengthBytes = 2 * kLengthFields;

constexpr std::string_view kFormatTag = "\x61\x01"sv;  // of the second generation of the codec, as in WAVEFORMATEX
constexpr std::size_t kFormatFirst = 4, kFormatTail = 20;
constexpr std::uint32_t kMostChannels = 9, kLeastSampleRate = 8000;
constexpr std::int64_t kFormatBytes = 17;     // after its start, before what its last field counts
constexpr std::int64_t kUnplayedSeconds = 2;  // clients stopped early with what the byte rate alone gives

constexpr std::uint32_t kLongestName = 100, kCountUnknown = 100;
constexpr std::uint32_t kTypeDword = 3;

// ASCII as UTF-16LE, without a terminator.
std::string wide(std::string_view ascii) {
    std::string out;
    for (const char c : ascii) out.append({c, '\0'});
    return out;
}

std::optional<std::uint32_t> u16_at(Bytes head, std::size_t at) {
    return at > head.size() ? std::nullopt : ByteCursor{head.subspan(at)}.little_endian(2);
}

std::optional<Bytes> bytes_at(Bytes head, std::size_t at, std::size_t n) {
    return at > head.size() ? std::nullopt : ByteCursor{head.subspan(at)}.take(n);
}

// ---- title and artist

// Tries positions for the five lengths of a content description. For every byte we work out once where the next 0 byte
// is, so that a file made for it cannot make the search quadratic.
class DescriptionSearch {
public:
    explicit DescriptionSearch(Bytes header) : header_(header), next_zero_(header.size() + 2, header.size() + 2) {
        for (std::size_t i = header_.size(); i-- > 0;)
            next_zero_[i] = header_[i] == std::byte{0} ? i : next_zero_[i + 2];
    }

    std::optional<std::size_t> find() const {
        for (std::size_t p = 0; p + kLengthBytes < header_.size(); ++p)
            if (fits(p)) return p;
        return std::nullopt;
    }

private:
    bool fits(std::size_t p) const {
        std::size_t text = p + kLengthBytes;
        for (std::size_t field = 0; field < kLengthFields; ++field) {
            const std::size_t length = u16_at(header_, p + 2 * field).value_or(0);
            const bool must_be_there = field < 2;  // title and author
            if (length >= 0x8000 || length > header_.size() - text) return false;
            if (must_be_there && (length < 2 || u16_at(header_, text + length - 2) != 0u)) return false;
            // Latin letters all the way up to the terminator.
            if (length > 2 && next_zero_[text] < text + length - 2) return false;
            text += length;
        }
        return true;
    }

    Bytes header_;
    std::vector<std::size_t> next_zero_;  // the first 0 byte at or after each position, in steps of two
};

// Where the five lengths stand.
std::optional<std::size_t> find_description(Bytes head) {
    if (as_text(head.subspan(kFirstChild)).starts_with(kContentDescriptionMark)) return kFirstChildData;
    const std::size_t length = u16_at(head, kHeaderLength).value_or(0);
    return DescriptionSearch{head.first(std::min(length, head.size()))}.find();
}

void read_description(MediaFacts& tags, Bytes head, TagCharset charset) {
    const auto at = find_description(head);
    if (!at) return;
    const auto title_length = u16_at(head, *at);
    const auto artist_length = u16_at(head, *at + 2);
    if (!title_length || !artist_length) return;
    const std::size_t text = *at + kLengthBytes;
    if (const auto title = bytes_at(head, text, *title_length)) tags.title = utf16_narrow_text(*title, charset);
    if (const auto artist = bytes_at(head, text + *title_length, *artist_length))
        tags.artist = utf16_narrow_text(*artist, charset);
}

// ---- duration

// The play time that a format block at this position gives; nullopt if it is none.
std::optional<std::int64_t> seconds_of_format(Bytes head, std::size_t at, std::uint64_t file_size) {
    ByteCursor cursor{head.subspan(at + kFormatTag.size())};
    const auto channels = cursor.little_endian(2);
    const auto sample_rate = cursor.little_endian(4);
    const auto bytes_per_second = cursor.little_endian(4);
    cursor.skip(4);  // block alignment, bits a sample
    const auto extra = cursor.little_endian(2);
    if (!channels || !sample_rate || !bytes_per_second || !extra) return std::nullopt;
    if (*channels > kMostChannels || *sample_rate < kLeastSampleRate) return std::nullopt;
    if (*bytes_per_second == 0) return 0;
    const std::int64_t audio =
        static_cast<std::int64_t>(file_size) - static_cast<std::int64_t>(at) - std::int64_t{*extra} - kFormatBytes;
    return audio / std::int64_t{*bytes_per_second} - kUnplayedSeconds;
}

void read_duration(MediaFacts& tags, Bytes head, std::uint64_t file_size) {
    const std::string_view text = as_text(head);
    for (std::size_t at = kFormatFirst; (at = text.find(kFormatTag, at)) != npos && at + kFormatTail < head.size();
         ++at) {
        const auto seconds = seconds_of_format(head, at, file_size);
        if (!seconds) continue;
        if (*seconds > 0) tags.duration = format_minutes(*seconds * 1000);
        return;
    }
}

// ---- extended content description

// Where the count of the descriptor list stands, two bytes before its first descriptor.
std::optional<std::size_t> find_descriptors(Bytes head) {
    constexpr std::size_t kBefore = 4;  // the count and the length of the first name
    static const std::string first_name = wide("WMFSDK"), any_name = wide("WM/");
    const std::string_view text = as_text(head);
    const std::size_t usual = text.find(first_name);
    if (usual != npos && usual >= kBefore) return usual - kBefore;

    // Any name will do whose length is right. Its terminator begins in the last character's empty half.
    std::size_t zero = 0;
    for (std::size_t at = kBefore; (at = text.find(any_name, at)) != npos; ++at) {
        if (zero < at) zero = text.find("\0\0"sv, at);
        if (zero == npos) break;
        if (u16_at(head, at - 2) == zero - at + 3) return at - kBefore;
    }
    return std::nullopt;
}

// The number at the start of a UTF-16 text; nullopt if it does not begin with a digit.
std::optional<std::int32_t> leading_digits(Bytes value) {
    const std::string text = utf16_narrow_text(value, TagCharset::ascii);
    const std::string_view trimmed = str_trim_left(text);
    if (trimmed.empty() || trimmed.front() < '0' || trimmed.front() > '9') return std::nullopt;
    return text_int(trimmed);
}

Text date_of(Bytes value) {
    auto year = leading_digits(value);
    if (!year) return std::nullopt;
    if (*year >= 0 && *year <= 49) *year += 2000;
    if (*year >= 50 && *year <= 99) *year += 1900;
    return date_of_year(*year).substr(0, 10);  // kept on purpose: one character less than in other formats
}

struct Descriptor {
    std::string name;
    std::uint32_t type = 0;
    Bytes value;
};

// nullopt at the end of the list, and where it makes no sense any more.
std::optional<Descriptor> take_descriptor(ByteCursor& cursor) {
    const auto name_length = cursor.little_endian(2);
    if (!name_length || *name_length > kLongestName) return std::nullopt;
    const auto name = cursor.take(*name_length);
    const auto type = cursor.little_endian(2);
    const auto length = cursor.little_endian(2);
    if (!name || !type || !length) return std::nullopt;
    const auto value = cursor.take(*length);
    if (!value) return std::nullopt;
    Descriptor descriptor{.name = {}, .type = *type, .value = *value};
    for (std::size_t i = 0; i < name->size() && (*name)[i] != std::byte{0}; i += 2)
        descriptor.name.push_back(as_text(*name)[i]);
    return descriptor;
}

// Kept on purpose: of a number of four bytes only the lowest counts.
std::optional<std::int32_t> track_number(const Descriptor& descriptor) {
    if (descriptor.type == kTypeDword && descriptor.value.size() == 4)
        return std::to_integer<std::int32_t>(descriptor.value.front());
    return leading_digits(descriptor.value);
}

void read_descriptors(MediaFacts& tags, Bytes list, TagCharset charset) {
    ByteCursor cursor{list};
    std::uint32_t count = cursor.little_endian(2).value_or(0);
    // The list was found by a later name, so the bytes before that are the end of another value and no count.
    if (count == 0) count = kCountUnknown;
    std::int32_t zero_based_track = 0;
    for (; count > 0; --count) {
        const auto descriptor = take_descriptor(cursor);
        if (!descriptor) break;
        const auto& [name, type, value] = *descriptor;
        if (name == "WM/AlbumTitle") {
            tags.album = utf16_narrow_text(value, charset);
        } else if (name == "WM/Genre") {
            tags.genre = utf16_narrow_text(value, charset);
        } else if (name == "WM/TrackNumber") {
            tags.track = track_number(*descriptor).value_or(0);
        } else if (name == "WM/Track") {
            const auto track = track_number(*descriptor);
            // A text without a number is -1 and not the first track. Unsigned, since the largest number wraps.
            zero_based_track = track ? static_cast<std::int32_t>(static_cast<std::uint32_t>(*track) + 1u) : -1;
        } else if (name == "WM/Picture") {
            tags.album_art = 1;
        } else if (name == "WM/OriginalReleaseYear") {
            if (Text date = date_of(value)) tags.date = std::move(date);
        } else if (name == "WM/Year") {
            if (!tags.date) tags.date = date_of(value);
        }
    }
    if (tags.track == 0) tags.track = zero_based_track;
}

// The value after the first occurrence of a descriptor's name, wherever that stands.
Text find_value(Bytes head, std::string_view name, TagCharset charset) {
    const std::string wanted = wide(name);
    const std::size_t at = as_text(head).find(wanted);
    if (at == npos) return std::nullopt;
    const std::size_t length_at = at + wanted.size() + 4;  // after the terminator and the type
    const auto length = u16_at(head, length_at);
    const auto value = length ? bytes_at(head, length_at + 2, *length) : std::nullopt;
    return value ? Text{utf16_narrow_text(*value, charset)} : std::nullopt;
}

}  // namespace

MediaFacts asf_read(Bytes head, std::uint64_t file_size, TagCharset charset) {
    MediaFacts tags;
    head = head.first(std::min(head.size(), kAsfHeadBytes));
    if (head.size() < kAsfLeastBytes || !as_text(head).starts_with(kHeaderMark)) return tags;
    read_description(tags, head, charset);
    read_duration(tags, head, file_size);
    const auto descriptors = find_descriptors(head);
    if (!descriptors) return tags;
    read_descriptors(tags, head.subspan(*descriptors), charset);
    if (!has_text(tags.album)) {
        if (Text album = find_value(head, "WM/AlbumTitle", charset)) tags.album = std::move(album);
    }
    if (!has_text(tags.genre)) {
        if (Text genre = find_value(head, "WM/Genre", charset)) tags.genre = std::move(genre);
    }
    return tags;
}

MediaFacts wma_read_tags(const std::string& path) {
    return media_facts_of_file(path, [](const File& file, std::uint64_t size) {
        const std::size_t wanted = static_cast<std::size_t>(std::min<std::uint64_t>(size, kAsfHeadBytes));
        if (wanted < kAsfLeastBytes) return MediaFacts{};
        const auto buffer = std::make_unique_for_overwrite<std::byte[]>(wanted);
        const Bytes head{buffer.get(), file.read_at(0, {buffer.get(), wanted})};
        return asf_read(head, size, tag_charset());
    });
}
