// The text of the persistence file: items as lines of "TAG:value" between "<SOI>" and "<EOI>". Reading and writing of
// that text alone; the files and threads are in db/dbfile.h.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "db/add_item.h"
#include "db/objects.h"

// What a line holds at most; a longer run of bytes goes on as the next line.
constexpr std::size_t kDbLineBytes = 1024;

// The lines of a file, read through one buffer of 100000 bytes. Every byte below 0x20 ends a line; empty lines and
// those that begin with "#" are left out.
class DbLines {
public:
    // Fills the span with the next bytes and says how many; 0 at the end.
    using Refill = std::function<std::size_t(std::span<char>)>;
    explicit DbLines(Refill refill);

    // Valid until the next call. Returns nullopt at the end.
    std::optional<std::string_view> next();

private:
    bool next_run();
    Refill refill_;
    std::vector<char> buffer_;
    std::string_view rest_;  // of the buffer
    std::string line_;
};

bool dbfile_begins_record(std::string_view line);

struct DbRecord {
    NewItem item;
    bool has_class = false;  // without one the item belongs nowhere
};
// The record whose "<SOI>" was just read, up to its "<EOI>" or the end of the file.
DbRecord dbfile_parse_record(DbLines& lines);

// The class with exactly this text, one of the four item classes.
std::optional<ObjectClass> dbfile_class_of(std::string_view text);

// A growing text in pieces, so that a large library is never copied while it grows.
class DbText {
public:
    void append(std::string_view text);
    std::size_t bytes() const;
    const std::vector<std::string>& pieces() const { return pieces_; }

private:
    std::vector<std::string> pieces_;
};

// One record. Values end at their first control byte and where the line is full, as a reader would cut them: so no tag
// can smuggle in a line of its own. An item whose path does not survive that is left out; the scanner finds it again.
void dbfile_format_item(const MediaItem& item, DbText& text);
