// The media themselves: "/disk/ID.ext" whole, by byte range or by time seek, and "/continue/ID_OFFSET.ext" which
// restarts such a transfer.
#pragma once

#include <string>
#include <string_view>

#include "core/str.h"
#include "http/request.h"

HandlerResult handle_disk(const HttpRequest& request, HttpResponse& response);
HandlerResult handle_continue(const HttpRequest& request, HttpResponse& response);

// The index file of a media path in the directory of the setting `idxdir`; nullopt if that is not set.
Text idx_path_for(std::string_view media_path);
