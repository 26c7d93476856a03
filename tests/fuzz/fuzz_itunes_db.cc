// An iPod's database.
#include <cstddef>
#include <cstdint>
#include <span>

#include "meta/itunes_db.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes file = std::as_bytes(std::span{data, size});
    for (const TagCharset charset : {TagCharset::ascii, TagCharset::utf8}) {
        FileWindow window{file};
        std::size_t entries = 0;
        const std::string error = itunesdb_read(window, "/Music/", charset,
                                                [&](const LibrarySong&, const std::string&, std::int32_t position) {
                                                    if (position < 1) __builtin_trap();
                                                    return ++entries < 100;
                                                });
        if (entries > size / 32) __builtin_trap();
        if (!error.empty() && !error.ends_with('\n')) __builtin_trap();
    }
    return 0;
}
