// SUBSCRIBE headers: whatever a request says, no blank and no line end of it gets into the event that answers it.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "core/bytes.h"
#include "upnp/gena_message.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view header = as_text(std::as_bytes(std::span{data, size}));
    const SubscribeHeader asked = gena_parse_subscribe(header);
    gena_parse_unsubscribe(header);
    if (asked.callback && (asked.callback->empty() || asked.callback->find('\n') != std::string::npos)) std::abort();
    for (const CallbackUrl& url : gena_callback_urls(asked.callback.value_or(""))) {
        if (url.port < 0 || url.port > 65535 || !url.path.starts_with('/')) std::abort();
        if ((url.path + url.host_port + url.host).find_first_of(" \t\r\n") != std::string::npos) std::abort();
        const std::string message = gena_notify_message(url, 1, 2, "");
        if (message.find("\r\nNT: upnp:event\r\n") == std::string::npos) std::abort();
    }
    return 0;
}
