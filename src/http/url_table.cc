#include "http/url_table.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/log.h"
#include "core/process_wide.h"
#include "http/request.h"

namespace {

constexpr std::size_t kMaxRows = 24;
constexpr std::size_t kPrefixCharacters = 511;

struct Row {
    std::string prefix;
    std::uint32_t methods;
    HttpHandler handler;
};
struct UrlTable {
    std::vector<Row> rows;
};
UrlTable& table() {
    return process_wide<UrlTable>();
}

}  // namespace

void register_http_handler(HttpHandler handler, std::uint32_t methods, std::string_view prefix) {
    const std::string url{prefix};
    if (table().rows.size() == kMaxRows) {
        log_message(LOG_CRITICAL, LOG_HTTP, "too many callback handlers registered %s\n", url.c_str());
    }
    if (handler == nullptr) {
        log_message(LOG_ERROR, LOG_HTTP, "Missing handler function for URL %s\n", url.c_str());
        return;
    }
    if (url.size() > kPrefixCharacters) {
        log_message(LOG_ERROR, LOG_HTTP, "URL to long for registration %s\n", url.c_str());
    }
    table().rows.push_back({url.substr(0, kPrefixCharacters), methods, handler});
    log_message(LOG_INFO, LOG_HTTP, "registered a handler for %s %d\n", url.c_str(), static_cast<int>(methods));
}

HttpHandler http_find_handler(std::uint32_t method, std::string_view url) {
    for (const Row& row : table().rows) {
        // Kept on purpose: an unknown method is 0 and fits every mask.
        if ((method & row.methods) == method && url.starts_with(row.prefix)) return row.handler;
    }
    return nullptr;
}
