// Request headers: whatever a connection sends, what is read from it keeps its bounds and no line of the request ends
// up in its URL.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "core/bytes.h"
#include "http/request.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    HttpRequest request;
    request.header = as_text(std::as_bytes(std::span{data, size}));
    http_parse_request(request);
    if (request.url.size() > 255 || request.url.find_first_of("\r\n ") != std::string::npos) std::abort();
    if (request.version != 11 && (request.version != 10 || !request.close)) std::abort();
    if (http_announced_body(request.header).length < 0) std::abort();
    return 0;
}
