// "/albumart-EXTENSION/ID.jpg": the cover inside a music file, sent straight from it. The extension names the format
// whose finder looks for it (meta/media_formats.h).
#pragma once

#include "http/request.h"

HandlerResult handle_cover(const HttpRequest& request, HttpResponse& response);
