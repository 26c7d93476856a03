#include "db/dbfile_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

#include "core/str.h"
#include "core/utf8.h"
#include "db/add_item.h"
#include "db/objects.h"
#include "db/shared_text.h"

namespace {

constexpr std::size_t kBufferBytes = 100'000;
constexpr std::size_t kPieceBytes = 1024 * 1024;
constexpr std::size_t kTagBytes = 3;  // two letters and a colon
constexpr std::size_t kValueBytes = kDbLineBytes - kTagBytes;
constexpr std::string_view kBegin = "<SOI>", kEnd = "<EOI>";

bool is_control(char c) {
    return static_cast<unsigned char>(c) < 0x20;
}

// In the order in which they are written: title and class, texts, numbers, size, late numbers.
struct TextField {
    std::string_view tag;
    Text NewItem::*read;
    SharedText MediaItem::*written;
};
constexpr auto kTexts = std::to_array<TextField>({
    {"AR:", &NewItem::artist, &MediaItem::artist},
    {"AL:", &NewItem::album, &MediaItem::album},
    {"GE:", &NewItem::genre, &MediaItem::genre},
    {"DA:", &NewItem::date, &MediaItem::date},
    {"RE:", &NewItem::path, &MediaItem::path},
    {"DU:", &NewItem::duration, &MediaItem::duration},
    {"DE:", &NewItem::description, &MediaItem::description},
    {"KE:", &NewItem::keywords, &MediaItem::keywords},
});
struct NumberField {
    std::string_view tag;
    std::int32_t NewItem::*read;
    std::int32_t MediaItem::*written;
};
constexpr auto kNumbers = std::to_array<NumberField>({
    {"TR:", &NewItem::track, &MediaItem::track},
    {"WI:", &NewItem::width, &MediaItem::width},
    {"HE:", &NewItem::height, &MediaItem::height},
    {"AA:", &NewItem::album_art, &MediaItem::album_art},
    {"CO:", &NewItem::compilation, &MediaItem::compilation},
    {"BI:", &NewItem::bitrate, &MediaItem::bitrate},
});
constexpr auto kLateNumbers = std::to_array<NumberField>({
    {"MT:", &NewItem::modified, &MediaItem::modified},
    {"PT:", &NewItem::last_played, &MediaItem::last_played},
    {"PC:", &NewItem::play_count, &MediaItem::play_count},
});
constexpr std::string_view kTitle = "TI:", kClass = "CL:", kSize = "SI:";

template <typename Fields>
bool read_number(const Fields& fields, std::string_view line, std::string_view value, NewItem& item) {
    for (const NumberField& field : fields) {
        if (!str_starts_nocase(line, field.tag)) continue;
        item.*field.read = text_int(value);
        return true;
    }
    return false;
}

void read_field(std::string_view line, DbRecord& record) {
    if (line.size() < kTagBytes) return;
    NewItem& item = record.item;
    const std::string_view value = line.substr(kTagBytes);
    if (str_starts_nocase(line, kTitle)) {
        item.title = value;
        return;
    }
    if (str_starts_nocase(line, kClass)) {
        const auto item_class = record.has_class ? std::nullopt : dbfile_class_of(value);
        if (!item_class) return;
        item.media_class = *item_class;
        record.has_class = true;
        return;
    }
    for (const TextField& field : kTexts) {
        if (!str_starts_nocase(line, field.tag)) continue;
        Text& text = item.*field.read;
        if (!text) text = value;
        return;
    }
    // Kept on purpose, for the files that are about: a size of 2 GiB and more is written whole and comes back as its
    // low 32 bits with their sign.
    if (str_starts_nocase(line, kSize)) {
        item.size = text_int(value);
        return;
    }
    if (!read_number(kNumbers, line, value, item)) read_number(kLateNumbers, line, value, item);
}

// As far as a reader would see it: up to a control byte or the end of the line, never within a character.
std::string_view storable(std::string_view value) {
    value = value.substr(0, static_cast<std::size_t>(std::ranges::find_if(value, is_control) - value.begin()));
    return value.size() <= kValueBytes ? value : utf8_head(value, kValueBytes);
}

void write_text(DbText& out, std::string_view tag, std::string_view value) {
    out.append(tag);
    out.append(storable(value));
    out.append("\n");
}

void write_text(DbText& out, std::string_view tag, const SharedText& value) {
    if (value) write_text(out, tag, value.view());
}

void write_number(DbText& out, std::string_view tag, std::int64_t value) {
    if (value == 0) return;
    std::array<char, 24> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    write_text(out, tag, {digits.data(), static_cast<std::size_t>(end - digits.data())});
}

}  // namespace

DbLines::DbLines(Refill refill) : refill_(std::move(refill)), buffer_(kBufferBytes) {}

std::optional<std::string_view> DbLines::next() {
    while (next_run())
        if (line_.front() != '#') return line_;
    return std::nullopt;
}

// The next line that is not empty, into line_; false at the end.
bool DbLines::next_run() {
    line_.clear();
    for (;;) {
        if (rest_.empty()) {
            rest_ = {buffer_.data(), refill_(buffer_)};
            if (rest_.empty()) return !line_.empty();
        }
        if (line_.empty()) {  // what ends a line ends empty ones as well
            const auto begin = std::ranges::find_if_not(rest_, is_control);
            rest_.remove_prefix(static_cast<std::size_t>(begin - rest_.begin()));
        }
        const auto run =
            rest_.substr(0, static_cast<std::size_t>(std::ranges::find_if(rest_, is_control) - rest_.begin()));
        const std::string_view fits = run.substr(0, kDbLineBytes - line_.size());
        line_.append(fits);
        rest_.remove_prefix(fits.size());
        if (!line_.empty() && !rest_.empty()) return true;  // a control byte is next, or what did not fit
    }
}

bool dbfile_begins_record(std::string_view line) {
    return str_equal_nocase(line, kBegin);
}

DbRecord dbfile_parse_record(DbLines& lines) {
    DbRecord record;
    for (auto line = lines.next(); line && !str_equal_nocase(*line, kEnd); line = lines.next())
        read_field(*line, record);
    return record;
}

std::optional<ObjectClass> dbfile_class_of(std::string_view text) {
    return item_class_of(text);
}

void DbText::append(std::string_view text) {
    if (pieces_.empty() || pieces_.back().size() + text.size() > kPieceBytes)
        pieces_.emplace_back().reserve(kPieceBytes);
    pieces_.back().append(text);
}

std::size_t DbText::bytes() const {
    std::size_t total = 0;
    for (const std::string& piece : pieces_) total += piece.size();
    return total;
}

void dbfile_format_item(const MediaItem& item, DbText& text) {
    if (storable(item.path.view()) != item.path.view()) return;
    text.append("<SOI>\n");
    write_text(text, kTitle, item.title);
    write_text(text, kClass, class_text(item.object_class));
    for (const TextField& field : kTexts) write_text(text, field.tag, item.*field.written);
    for (const NumberField& field : kNumbers) write_number(text, field.tag, item.*field.written);
    write_number(text, kSize, item.size);
    for (const NumberField& field : kLateNumbers) write_number(text, field.tag, item.*field.written);
    text.append("<EOI>\n");
}
