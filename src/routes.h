// The only list of all handlers: which one serves a URL, and which one gets the datagrams of the discovery group.
#pragma once

// Once in the life of the process, before the first listener opens.
void register_http_handlers();
void register_packet_handlers();
