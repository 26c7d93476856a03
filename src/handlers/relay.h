// Relays for receivers that cannot reach a source themselves: "/httpproxy/ID.ext" passes an item's "http://" stream on,
// "/ftpproxy/ID.ext" the file of an "ftp://" item. What cannot be reached is not found.
#pragma once

#include "http/request.h"

HandlerResult http_proxy_handler(HttpRequest& request);
HandlerResult ftp_proxy_handler(HttpRequest& request);
