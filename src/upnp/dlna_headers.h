// Answer headers of DLNA clients: sent only to those that ask, with request headers of (nearly) the same names.
#pragma once

#include <string>
#include <string_view>

// The lines that belong into the answer, each ending in "\r\n"; empty for requests that ask for none. content_type is
// that of the answer, media_path the file it comes from (its name tells the television system of an MPEG film).
std::string dlna_answer_headers(std::string_view request_header, std::string_view content_type,
                                std::string_view media_path);
