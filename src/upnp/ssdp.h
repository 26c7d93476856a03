// Discovery on one served address: announces the device there, hears the searches of control points and answers them.
// Start-up makes one instance for each address, opens its sockets and starts its threads. Each thread keeps the
// instance alive until it has ended, so the owner may drop it at any time.
//
//     auto instance = std::make_shared<SsdpInstance>();
//     instance->interface_name = ...; instance->address = ...; instance->http_port = ...;
//     if (!ssdp_open_sockets(*instance)) log_message(LOG_CRITICAL, ...);   // errno says why
//     ssdp_start_threads(instance);
//     ...
//     instance->listen_running.ask_to_stop(); (and the other two)
//     ssdp_wake(*instance);
//     wait until all three flags are idle
#pragma once

#include <netinet/in.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "core/socket.h"
#include "core/thread.h"
#include "upnp/packet_handlers.h"
#include "upnp/search_jobs.h"
#include "upnp/ssdp_message.h"

struct SsdpInstance {
    // Filled by the starter, not changed while threads run.
    std::string interface_name;  // for log lines; the address where the name is not known
    in_addr address{};
    int http_port = 0;

    RunningFlag listen_running;
    RunningFlag heartbeat_running;
    RunningFlag msearch_running;  // of the thread that answers searches

    // Closed with the instance, so no thread ever sees a descriptor that was reused.
    Socket listen_socket;  // the group
    Socket reply_socket;   // answers leave from here
    Socket extra_socket;   // only with ROLE_EXTRA_SOCKET

    std::mutex searches_mutex;
    std::condition_variable searches_changed;
    SearchJobs searches;  // under searches_mutex
};

// The process-wide roles; none at first.
unsigned ssdp_roles();
void ssdp_set_roles(unsigned roles);

// Registers ssdp_handle_msearch as "M-Search" and adds the media server role. Once in the life of the process.
void ssdp_register_msearch_handler();

// False if one of them cannot be opened (it is left empty; errno is that of the first failure).
bool ssdp_open_sockets(SsdpInstance& instance);

// Sets the three flags and starts the listen, heartbeat and answering threads, detached.
void ssdp_start_threads(const std::shared_ptr<SsdpInstance>& instance);
// Wakes the threads from whatever they wait in, after their flags were asked to stop. Does not block.
void ssdp_wake(SsdpInstance& instance);

// The threads' routines: each returns after its flag was asked to stop (it is set by the caller) and clears it last.
void ssdp_listen_thread(SsdpInstance& instance);     // hands every datagram to the registered handlers
void ssdp_heartbeat_thread(SsdpInstance& instance);  // announces, and withdraws at its end
void ssdp_msearch_thread(SsdpInstance& instance);    // answers searches when they are due

// Notes the kind of client, and the search for an answer after a random delay.
void ssdp_handle_msearch(std::string_view packet, SsdpInstance& instance, const sockaddr_in& sender);

// Sends one message for every row that fits the target. False if one could not be sent; the rest is then not tried.
bool ssdp_send_all(const SsdpInstance& instance, int socket, const sockaddr_in& to, std::string_view target,
                   SsdpMessage kind);
void ssdp_send_byebye(const SsdpInstance& instance, int socket);
