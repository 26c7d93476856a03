// "/rescan": asks for a rescan of all content directories, or of the directory that follows ("/rescan/music/new").
#pragma once

#include "http/request.h"

HandlerResult handle_rescan(const HttpRequest& request, HttpResponse& response);
