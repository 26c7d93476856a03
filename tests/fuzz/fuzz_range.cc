// Range headers: a range that has a first and a last byte is in order, and no time runs over.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "core/bytes.h"
#include "http/range.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view header = as_text(std::as_bytes(std::span{data, size}));
    const ByteRange range = http_parse_range(header);
    if (range.last < -1 || (range.last >= 0 && range.last < range.first)) std::abort();
    if (range.time_seek && range.first < -1) std::abort();
    if (parse_npt_time(header) < 0) std::abort();
    return 0;
}
