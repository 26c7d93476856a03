#include "support/itunes_builder.h"

#include "support/asf_builder.h"

namespace {

std::string u32(std::size_t value) {
    return little_endian_bytes(value, 4);
}

std::string joined(const std::vector<std::string>& parts) {
    std::string out;
    for (const std::string& part : parts) out += part;
    return out;
}

}  // namespace

std::string itunes_record(std::string_view tag, std::uint32_t total, std::string_view rest_of_header) {
    return std::string{tag}.append(u32(12 + rest_of_header.size())).append(u32(total)).append(rest_of_header);
}

std::string itunes_text(std::uint32_t type, std::string_view text, std::size_t padding) {
    std::string wide = utf16le_text(text);
    wide.resize(wide.size() - 2);  // no terminator
    const std::string body = std::string(padding, '\x7F') + wide;
    return "mhod" + u32(24) + u32(32 + body.size()) + u32(type) + u32(0) + u32(0) + u32(1) + u32(wide.size()) + body;
}

std::string itunes_opaque(std::uint32_t type, std::size_t bytes) {
    return "mhod" + u32(24) + u32(32 + bytes) + u32(type) + u32(0) + u32(0) + u32(1) + u32(7) +
           std::string(bytes, '\x6D');
}

std::string ITunesSong::bytes() const {
    std::string header = "mhit" + u32(header_length) + u32(0) + u32(objects.size()) + u32(id);
    header.resize(44, '\0');
    header += u32(5);  // track number
    header.resize(header_length, '\0');
    return header + joined(objects);
}

std::string ITunesPlaylist::bytes() const {
    std::string rest = u32(objects.size()) + u32(ids.size());
    rest.resize(96, '\0');
    std::string out = itunes_record("mhyp", 0, rest) + joined(objects);
    for (const std::uint32_t id : ids) {
        std::string entry = u32(0) + u32(0) + u32(0) + u32(id);
        entry.resize(64, '\0');
        out += itunes_record("mhip", 0, entry);
    }
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
