// The ConnectionManager:1 actions. The server sends over plain HTTP and keeps no connections, so its answers are fixed:
// one connection, number 0, about which nothing is known.
#pragma once

#include "http/request.h"

HandlerResult cm_get_protocol_info(const HttpRequest& request, HttpResponse& response);
HandlerResult cm_get_current_connection_ids(const HttpRequest& request, HttpResponse& response);
// The same for whatever ConnectionID was asked.
HandlerResult cm_get_current_connection_info(const HttpRequest& request, HttpResponse& response);
