// Start and end of the whole server: the order in which its parts are started, and the shutdown. Every long-lived
// thread has a running flag here. Stopping asks all of them, waits a bounded time, logs those that have not ended and
// goes on.
#pragma once

#include "core/thread.h"

// The process-wide flags, in the order in which a shutdown that was too slow reports them. That of the Winamp import
// belongs to a thread that is not part of this build, and stays idle.
struct RunningFlags {
    RunningFlag upnp_server;  // all listeners and discovery instances as a whole
    RunningFlag radio;
    RunningFlag itunes;
    RunningFlag winamp;
    RunningFlag file_scan;
    RunningFlag external_db_scan;
    RunningFlag db_read_file;
    RunningFlag db_write_file;
    RunningFlag eventing;
    RunningFlag ipod;  // waited for, but never named in the report
};
RunningFlags& running_flags();

// main: reads the settings, goes into the background if asked to, starts everything and waits for the signal that ends
// it.
[[noreturn]] void run_server(int argc, const char* const* argv);

// Starts every part in order, from the settings as they are. Ends the process where no address can be served.
void start_all();
// Stops every part and frees the content tree; a few seconds at most. start_all may follow.
void stop_all();

// Stops everything, reads the ini file again and starts everything. Call it in a thread of its own, because it outlives
// the connection that asks for it. It begins after half a second, so that the response still gets out.
void restart_all();

// The shutdown. Runs once; a second call returns at once. Ends the process with status 0. signal is 0 on a normal exit.
void on_terminate(int signal);
