// M-SEARCH packets: whatever arrives on the group, the request read from it keeps its bounds, and only our targets make
// messages.
#include "target.h"
#include "upnp/msearch.h"
#include "upnp/ssdp_message.h"

void fuzz(Bytes input) {
    const auto request = msearch_parse(as_text(input));
    if (!request) return;
    require(request->target.size() <= kMaxTargetBytes && request->max_wait >= 1 && request->max_wait <= 120);
    const SsdpDevice device{
        .id = "uuid:1", .address = "10.0.0.1", .http_port = 9000, .roles = ROLE_MEDIA_SERVER | ROLE_RENDERER};
    const auto messages = ssdp_messages(device, request->target, SsdpMessage::search_reply, "now");
    require(messages.empty() != ssdp_offers(device, request->target) && messages.size() <= 9);
}
