#include "support/itunes_builder.h"

#include "support/asf_builder.h"

namespace {

std::string u32(std::size_t value) {
    return little_endian_bytes(value, 4);
}
std::string filled(std::string bytes, std::size_t size) {
    bytes.resize(size, '\0');
    return bytes;
}

std::string object(std::uint32_t type, std::size_t text_bytes, const std::string& body) {
    return "mhod" + u32(24) + u32(32 + body.size()) + u32(type) + u32(0) + u32(0) + u32(1) + u32(text_bytes) + body;
}

}  // namespace

std::string itunes_record(std::string_view tag, std::uint32_t total, std::string_view rest_of_header) {
    return std::string{tag}.append(u32(12 + rest_of_header.size())).append(u32(total)).append(rest_of_header);
}

std::string itunes_text(std::uint32_t type, std::string_view text, std::size_t padding) {
    const std::string wide = utf16le_text(text).substr(0, 2 * text.size());  // no terminator
    return object(type, wide.size(), std::string(padding, '\x7F') + wide);
}

std::string itunes_opaque(std::uint32_t type, std::size_t bytes) {
    return object(type, 7, std::string(bytes, '\x6D'));
}

std::string ITunesSong::bytes() const {
    constexpr std::uint32_t kTrack = 5;
    std::string out = filled("mhit" + u32(header_length) + u32(0) + u32(objects.size()) + u32(id), 44) + u32(kTrack);
    out.resize(header_length, '\0');
    for (const std::string& each : objects) out += each;
    return out;
}

std::string ITunesPlaylist::bytes() const {
    std::string out = itunes_record("mhyp", 0, filled(u32(objects.size()) + u32(ids.size()), 96));
    for (const std::string& each : objects) out += each;
    for (const std::uint32_t entry : ids)
        out += itunes_record("mhip", 0, filled(std::string(12, '\0') + u32(entry), 64));
    return out;
}

std::string itunes_database(const std::vector<ITunesSong>& songs, const std::vector<ITunesPlaylist>& playlists) {
    const std::string pad(84, '\0');
    std::string out = itunes_record("mhdb", 0, pad) + itunes_record("mhsd", 0, pad) +
                      itunes_record("mhlt", static_cast<std::uint32_t>(songs.size()), pad);
    for (const ITunesSong& song : songs) out += song.bytes();
    out += itunes_record("mhsd", 0, pad) + itunes_record("mhlp", static_cast<std::uint32_t>(playlists.size()), pad);
    for (const ITunesPlaylist& playlist : playlists) out += playlist.bytes();
    return out;
}
