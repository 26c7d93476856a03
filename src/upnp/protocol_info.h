// What clients are told about the form of a media file: protocolInfo texts (UPnP ConnectionManager:1, section 2.5.2),
// the DLNA.ORG fields in them, and the response headers of DLNA.
#pragma once

#include <string>
#include <string_view>

#include "db/objects.h"

// What GetProtocolInfo and the events of the ConnectionManager name as our sources. As a sink nothing can be played.
constexpr const char* kSourceProtocolInfo =
    "http-get:*:audio/mpeg:*,http-get:*:audio/mpegurl:*,http-get:*:image/jpeg:*";
constexpr const char* kSinkProtocolInfo = "";

// The type of raw 16-bit samples, by what the path says of them: "audio/L16;rate=44100;channels=2".
std::string lpcm_type(std::string_view path);

// How an item is listed. takes_dlna_fields is that of the client's profile: other clients are told nothing about
// seeking and television systems.
struct ListedForm {
    std::string protocol_info;        // "http-get:*:TYPE:FEATURES"
    std::string_view dlna_profile{};  // of the fourth field; empty when that names none
};
ListedForm listed_form(ObjectClass object_class, std::string_view path, bool takes_dlna_fields);

// "http-get:*:TYPE:FEATURES".
std::string protocol_info(std::string_view type, std::string_view features = "*");

// The DLNA lines of a response, each ending in "\r\n", for clients that ask for them with request lines of (nearly) the
// same names. content_type is that of the response, media_path the file that it comes from.
std::string dlna_response_headers(std::string_view request_header, std::string_view content_type,
                                  std::string_view media_path);
