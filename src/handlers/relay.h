// Relays for clients that cannot reach a source themselves: "/httpproxy/ID.ext" passes an item's "http://" stream on,
// "/ftpproxy/ID.ext" the file of an "ftp://" item. A source that cannot be reached is answered with 404.
#pragma once

#include "http/request.h"

HandlerResult handle_http_proxy(const HttpRequest& request, HttpResponse& response);
HandlerResult handle_ftp_proxy(const HttpRequest& request, HttpResponse& response);
