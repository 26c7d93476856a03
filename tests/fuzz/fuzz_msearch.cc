// M-SEARCH packets: whatever arrives on the group, the request read from it keeps its bounds, and only our targets make
// messages.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "core/bytes.h"
#include "upnp/msearch.h"
#include "upnp/ssdp_message.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view packet = as_text(std::as_bytes(std::span{data, size}));
    const auto request = msearch_parse(packet);
    if (!request) return 0;
    if (request->target.size() > kMaxTargetBytes || request->max_wait < 1 || request->max_wait > 120) std::abort();

    const SsdpDevice device{
        .id = "uuid:1", .address = "10.0.0.1", .http_port = 9000, .roles = ROLE_MEDIA_SERVER | ROLE_RENDERER};
    const auto messages = ssdp_messages(device, request->target, SsdpMessage::search_reply, "now");
    if (messages.empty() == ssdp_offers(device, request->target) || messages.size() > 9) std::abort();
    return 0;
}
