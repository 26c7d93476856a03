// The process as such: how it gets into the background, which signals end it, how many descriptors it may have, and the
// texts by which its parts find each other. The directory it was started in is in core/start_directory.h.
#pragma once

#include <csignal>
#include <string>
#include <string_view>

// "address:port" of the first address that is served, for URLs in which the server names itself; empty when none is. At
// most 127 characters.
void set_server_host_port(std::string_view host_port);
std::string server_host_port();

// Goes into the background: the caller's process ends with status 0, or with 1 when there can be no second one. The
// child leaves its id in /var/run/mediaserver.pid when it may, and its output goes to /dev/null. Standard input,
// working directory and process group stay as they were. Before any thread.
void daemonize();

// Opens /dev/null for whichever of the three standard descriptors the caller left closed: a socket in their place would
// be sent what is printed. Before anything else is opened.
void occupy_standard_descriptors();

// Several thousand connections at once need more descriptors than the usual soft limit gives.
void raise_descriptor_limit();

// Two heaps for all threads instead of eight a processor: what one connection freed serves the next, and a burst of
// large requests does not leave its memory behind in heaps that nobody uses again. Before the first thread.
void share_heaps();

// A client that resets its connection is an error to handle, never the end of the server.
void ignore_broken_pipes();

// Blocks SIGINT, SIGABRT and SIGTERM. Before the first thread, so that every thread inherits it and only the one that
// waits is ever told: the shutdown then runs in normal context and may lock, log and free.
sigset_t block_shutdown_signals();
// Blocks until one of them arrives; its number.
int wait_for_shutdown_signal(const sigset_t& signals);
