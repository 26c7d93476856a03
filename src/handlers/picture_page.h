// "/picture/ID(WIDTHxHEIGHT,MODE)SUFFIX": a picture of the library at the size that a receiver asks for, as JPEG or in
// the raw forms that some clients want instead.
#pragma once

#include <optional>
#include <string_view>

#include "http/request.h"
#include "meta/scale.h"

struct PictureUrl {
    std::string_view id_text;  // views of the URL
    int width = 0, height = 0;
    int mode = 0;
    std::string_view suffix;  // "" or ".jpg", ".yuv", ".tini.jpg", ".goicon.jpg", ...
};
// Missing for a URL that lacks one of the pieces.
std::optional<PictureUrl> picture_parse_url(std::string_view url);

// The not-found answer for a URL of another form, for sizes outside 1 to 4096, for ids of nothing and for files that
// are not there. A file that is no good JPEG is answered with a grey picture, and a client that has gone with a
// close.
HandlerResult handle_picture(const HttpRequest& request, HttpResponse& response);

// Where a description would be drawn into a picture. Draws nothing yet.
void picture_overlay_description(RgbPicture& picture, std::string_view description);
