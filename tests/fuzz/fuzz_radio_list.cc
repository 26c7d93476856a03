// The station list of a directory, which may be anybody's: every station that the store would take has an "http://" URL
// and a genre of the table.
#include <cstdint>
#include <cstdlib>

#include "core/bytes.h"
#include "net/radio.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto stations = radio_parse_stations(as_text(std::as_bytes(std::span{data, size})));
    if (stations.size() > kMaxStations || stations.size() > size / 6) std::abort();  // "<entry" has six
    for (const NewItem& station : stations) {
        if (station.path && !station.path->starts_with("http://")) std::abort();
        if (radio_genre_name(text_or_empty(station.genre)) != station.genre) std::abort();
    }
    return 0;
}
