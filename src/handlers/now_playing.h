// "/rpc": what is streamed to which client, and stealth mode (the server keeps serving but stops announcing itself).
#pragma once

#include <cstdint>
#include <string_view>

#include "db/objects.h"
#include "http/request.h"

HandlerResult handle_rpc(const HttpRequest& request, HttpResponse& response);

// A client is being streamed an object at a position. At most ten clients are remembered, for as long as the process
// runs.
void now_playing_update(std::string_view peer, ObjectId object_id, std::int64_t position);
