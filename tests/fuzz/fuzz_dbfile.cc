// Persistence files: whatever is in them, every record ends and keeps its bounds.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "core/bytes.h"
#include "db/dbfile_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view rest = as_text(std::as_bytes(std::span{data, size}));
    const std::size_t at_a_time = size % 97 + 1;
    DbLines lines{[&](std::span<char> into) {
        const std::size_t n = std::min({into.size(), at_a_time, rest.size()});
        rest.copy(into.data(), n);
        rest.remove_prefix(n);
        return n;
    }};
    while (const auto line = lines.next()) {
        const bool fits = !line->empty() && line->size() <= kDbLineBytes && line->front() != '#';
        if (!fits || std::ranges::any_of(*line, [](char c) { return static_cast<unsigned char>(c) < 0x20; }))
            std::abort();
        if (!dbfile_begins_record(*line)) continue;
        const DbRecord record = dbfile_parse_record(lines);
        if (record.item.path && record.item.path->size() > kDbLineBytes) std::abort();
        if (record.item.size != static_cast<std::int32_t>(record.item.size)) std::abort();
    }
    return 0;
}
