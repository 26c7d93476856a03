// Event subscriptions (UPnP Device Architecture 1.0, chapter 4): a table of 20 subscribers, who hear of the services'
// state once when they subscribe and of the content's update ids whenever they change. Every subscriber's events are
// sent in their order by a thread of its own while there are some, so that a dead subscriber delays nobody else.
#pragma once

#include <cstdint>
#include <string_view>

#include "core/thread.h"
#include "http/request.h"

constexpr int kSubscriberSlots = 20;

// Empties the table and switches eventing on. While it is off nothing is subscribed, renewed, removed or sent.
void gena_init();
void gena_shutdown();

// SUBSCRIBE, new or a renewal, and UNSUBSCRIBE.
HandlerResult handle_subscribe(const HttpRequest& request, HttpResponse& response);
HandlerResult handle_unsubscribe(const HttpRequest& request, HttpResponse& response);

// Looks every two seconds whether the content has changed, tells the subscribers that have had their first events, and
// sends what waits because no thread was left for it.
void gena_start_ticker(RunningFlag& running);
