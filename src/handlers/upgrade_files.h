// Plain files out of the directory of the setting `netgearupgrade`, for clients that fetch their firmware here.
#pragma once

#include "http/request.h"

HandlerResult handle_upgrade_file(const HttpRequest& request, HttpResponse& response);
