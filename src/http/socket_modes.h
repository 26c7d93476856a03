// How a socket behaves while large pieces go through it.
#pragma once

void socket_set_blocking(int socket, bool blocking);

// While corked only full segments leave, the rest after 200 ms at the latest; taking the cork out sends what is left at
// once.
void socket_set_corked(int socket, bool corked);
