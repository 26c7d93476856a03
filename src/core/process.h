// The process: going into the background, the signals that end it, limits on descriptors and heaps, and the address
// under which the server names itself. The directory at start is in core/start_directory.h.
#pragma once

#include <csignal>
#include <string>
#include <string_view>

// "address:port" of the first served address, for URLs in which the server names itself; empty if no address is served.
// At most 127 characters are kept. Any thread.
void set_server_host_port(std::string_view host_port);
std::string server_host_port();

// Goes on in a child process in the background. The calling process ends with status 0, or with 1 if it cannot fork.
// The child writes its id to /var/run/mediaserver.pid if it may, and its output goes to /dev/null. Standard input,
// working directory and process group do not change. To be called before the first thread starts.
void daemonize();

// Opens /dev/null for each standard descriptor that is closed. Otherwise a socket could get the number of standard
// output and be sent what is printed. To be called before anything else is opened.
void occupy_standard_descriptors();

// Raises the soft limit of descriptors to the hard limit: several thousand connections need more than the usual 1024.
void raise_descriptor_limit();

// Makes all threads share two heaps, instead of eight for each processor. Memory that one connection frees is then used
// by the next, and a burst of large requests does not leave its memory in idle heaps. To be called before the first
// thread starts.
void share_heaps();

// Ignores SIGPIPE: a client that resets its connection must not end the server.
void ignore_broken_pipes();

// Blocks SIGINT, SIGABRT and SIGTERM and returns them. To be called before the first thread starts, so that every
// thread inherits the mask and only the thread that waits for the signals gets them. The shutdown then runs in normal
// context and may lock, log and free.
sigset_t block_shutdown_signals();
// Waits for one of these signals and returns its number.
int wait_for_shutdown_signal(const sigset_t& signals);
