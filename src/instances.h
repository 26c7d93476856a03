// The server on the network: one HTTP listener and one discovery instance for each address that is served, either the
// one of the setting `ip` or those of all interfaces that are up.
#pragma once

#include "core/thread.h"

// Starts them and switches eventing on. Ends the process if an address cannot be served. Does nothing if the flag runs
// already.
void server_start(RunningFlag& flag);
// Stops them and closes their connections; a few seconds at most. Logs the threads that have not ended by then.
void server_stop(RunningFlag& flag);
