// "/picture/ID(WIDTHxHEIGHT,MODE)SUFFIX": a picture of the library in the size and form that a client asks for: JPEG,
// or the raw forms that some clients want instead.
#pragma once

#include <optional>
#include <string_view>

#include "http/request.h"

// The pieces of a picture URL; the texts are views of it.
struct PictureUrl {
    std::string_view id_text;
    int width = 0, height = 0;
    int mode = 0;             // see meta/scale.h
    std::string_view suffix;  // "" or ".jpg", ".yuv", ".tini.jpg", ".goicon.jpg", ...
};
// Returns nullopt if a piece is not there. Numbers are read as far as they are numbers ("12a" is 12, "a" is 0).
std::optional<PictureUrl> picture_parse_url(std::string_view url);

// Not found (404): a URL of another form, a size outside 1 to 4096, an unknown id, a file that is not there, and a
// picture for which memory is out. A file that is not a good JPEG is answered with a grey picture. A client that has
// gone while its picture waited for a turn is answered with a close.
HandlerResult handle_picture(const HttpRequest& request, HttpResponse& response);
