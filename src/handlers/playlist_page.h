// "/m3u/ID.m3u": a container as a playlist of its tracks.
#pragma once

#include "http/request.h"

HandlerResult handle_m3u(const HttpRequest& request, HttpResponse& response);
