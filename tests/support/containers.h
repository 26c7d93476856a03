// Chunks of WAV files and boxes of M4A files for tests, written from their definitions.
#pragma once

#include <string>
#include <string_view>

#include "support/asf_builder.h"
#include "support/mp3_builder.h"

inline std::string chunk(std::string_view id, std::string data) {
    if (data.size() % 2 != 0) data += '\0';
    return std::string{id} + little_endian_bytes(data.size(), 4) + data;
}
inline std::string wav(const std::string& chunks) {
    return chunk("RIFF", "WAVE" + chunks);
}

inline std::string box(std::string_view type, const std::string& data) {
    return big_endian_bytes(static_cast<std::uint32_t>(8 + data.size()), 4).append(type).append(data);
}
// Metadata with this list of items; some writers leave the version out.
inline std::string movie(const std::string& list, const std::string& version = std::string(4, '\0')) {
    return box("moov", box("udta", box("meta", version + box("hdlr", std::string(25, '\0')) + box("ilst", list))));
}
inline const std::string kTitleBox =
    box("\xA9nam", box("data", big_endian_bytes(1, 4) + big_endian_bytes(0, 4) + "Title"));
