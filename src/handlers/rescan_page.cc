#include "handlers/rescan_page.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

#include "core/str.h"
#include "core/url_decode.h"
#include "http/request.h"
#include "http/respond.h"
#include "scan/scanner.h"

namespace {

constexpr std::string_view kPrefix = "/rescan";
constexpr std::size_t kDirectoryBytes = 1023;
constexpr std::size_t kBodyCapacity = 2048;

// The directory that the URL names after the prefix.
std::string requested_directory(std::string_view url) {
    url.remove_prefix(std::min(kPrefix.size(), url.size()));
    return url_decode(url.substr(0, kDirectoryBytes));
}

std::string page(RescanAnswer answer, std::string_view directory) {
    const std::string place = directory.empty() ? "content root directories" : html_escape(directory);
    switch (answer) {
        case RescanAnswer::initiated:
            return text_format(kBodyCapacity,
                               "<html><head><title>Rescan</title></head><body>rescan initiated on %s!</body></html>",
                               place.c_str());
        case RescanAnswer::invalid:
            return text_format(kBodyCapacity,
                               "<html><head><title>Rescan</title></head><body>rescan invalid for %s!</body></html>",
                               place.c_str());
        case RescanAnswer::already_running:
            break;
    }
    return "<html><head><title>Rescan</title></head><body>rescan allready running!</body></html>";
}

}  // namespace

HandlerResult handle_rescan(const HttpRequest& request, HttpResponse& response) {
    const std::string directory = requested_directory(request.url);
    return http_send_text(request, response, kHtmlType, page(scan_request_rescan(directory), directory));
}
