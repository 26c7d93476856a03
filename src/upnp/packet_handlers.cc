#include "upnp/packet_handlers.h"

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "core/log.h"
#include "core/process_wide.h"

namespace {

struct HandlerTable {
    std::mutex mutex;
    std::vector<PacketHandler> handlers;  // at most kMaxPacketHandlers
};
HandlerTable& table() {
    return process_wide<HandlerTable>();
}

bool added(PacketHandler function) {
    std::scoped_lock lock{table().mutex};
    if (table().handlers.size() >= kMaxPacketHandlers) return false;
    table().handlers.push_back(function);
    return true;
}

}  // namespace

void register_callback_handler(PacketHandler function, std::string_view name) {
    const std::string name_text{name};
    if (function == nullptr) {
        log_message(LOG_PROBLEM, LOG_SSDP, "missing handler function for\n");
    } else if (!added(function)) {
        log_message(LOG_PROBLEM, LOG_SSDP, "too many callback handlers registered %s\n", name_text.c_str());
    } else {
        log_message(LOG_INFO, LOG_SSDP, "registered handler %s\n", name_text.c_str());
    }
}

std::vector<PacketHandler> callback_handlers() {
    std::scoped_lock lock{table().mutex};
    return table().handlers;
}
