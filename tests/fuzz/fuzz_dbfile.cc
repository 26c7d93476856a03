// Persistence files: whatever is in them, every record ends and keeps its bounds.
#include <algorithm>

#include "db/dbfile_text.h"
#include "target.h"

void fuzz(Bytes input) {
    std::string_view rest = as_text(input);
    const std::size_t at_a_time = input.size() % 97 + 1;
    DbLines lines{[&](std::span<char> into) {
        const std::size_t n = std::min({into.size(), at_a_time, rest.size()});
        rest.copy(into.data(), n);
        rest.remove_prefix(n);
        return n;
    }};
    while (const auto line = lines.next()) {
        require(!line->empty() && line->size() <= kDbLineBytes && line->front() != '#');
        require(std::ranges::none_of(*line, [](char c) { return static_cast<unsigned char>(c) < 0x20; }));
        if (!dbfile_begins_record(*line)) continue;
        const DbRecord record = dbfile_parse_record(lines);
        require(!record.item.path || record.item.path->size() <= kDbLineBytes);
        require(record.item.size == static_cast<std::int32_t>(record.item.size));
    }
}
