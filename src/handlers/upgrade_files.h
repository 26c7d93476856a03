// Plain files out of the directory of the setting `netgearupgrade`, for receivers that fetch their firmware here.
#pragma once

#include "http/request.h"

HandlerResult upgrade_file_handler(HttpRequest& request);
