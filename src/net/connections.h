// The connections that are open right now, so that stopping can wake them all and dead ones can be ended. The thread
// that serves a connection is the one that closes it; everybody else only shuts it down.
#pragma once

void connection_opened(int socket);
// Must be called before the socket is closed: its number may be reused at once.
void connection_closing(int socket);

// Wakes every connection that is still open and waits (at most timeout_ms) until its thread has let go of it.
// Connections that open meanwhile are woken too.
void http_close_connections(int timeout_ms);

// Shuts down the connections whose peers owe us an acknowledgement and have sent none for longer than silent_ms. A
// paused player goes on acknowledging that it takes nothing, so it may pause as long as it likes.
void connections_end_dead(int silent_ms);
