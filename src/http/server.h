// The listener of one served address, its accept thread and its connections. Each connection has a thread of its own
// that answers one request after the other; requests go to the first row of the URL table whose methods and prefix fit.
#pragma once

#include <memory>
#include <string>

#include "core/thread.h"
#include "http/url_table.h"
#include "net/connections.h"

struct HttpServerInstance {
    RunningFlag running;     // of the accept thread
    int listen_socket = -1;  // the accept thread's, once that runs
    std::string ip_text;
    int port = 0;  // 0: the first free one from 9000 on
};

// Binds and listens; a port that cannot be had ends the process.
void http_open_listener(HttpServerInstance& instance);

// The accept loop; shares the instance, and is the one that closes the listening socket. Ends when the instance's flag
// is asked to stop; shutting the listening socket down (through a duplicate that was made before) makes that immediate.
void http_accept_thread(const std::shared_ptr<HttpServerInstance>& instance);
