// Bytes of an iPod's database for tests, written from its record layout: a header and two data sets, songs with their
// data objects, playlists with their entries.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// Any record: tag, header length, total length or count, the rest of the header.
std::string itunes_record(std::string_view tag, std::uint32_t total, std::string_view rest_of_header);
// A data object with a text; padding bytes stand between header and text.
std::string itunes_text(std::uint32_t type, std::string_view text, std::size_t padding = 0);
// A data object that is to be skipped.
std::string itunes_opaque(std::uint32_t type, std::size_t bytes);

struct ITunesSong {
    std::uint32_t id = 0;
    std::vector<std::string> objects = {};
    std::uint32_t header_length = 156;

    std::string bytes() const;
};

struct ITunesPlaylist {
    std::vector<std::string> objects = {};
    std::vector<std::uint32_t> ids = {};

    std::string bytes() const;
};

// The records in front of the songs, the songs, the playlists.
std::string itunes_database(const std::vector<ITunesSong>& songs, const std::vector<ITunesPlaylist>& playlists);
