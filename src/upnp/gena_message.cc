#include "upnp/gena_message.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/str.h"
#include "core/text_buffer.h"
#include "net/http_header.h"

namespace {

constexpr std::string_view kHttp = "http:";
constexpr std::size_t kHostOffset = 7;  // "http://"
constexpr int kHighestPort = 65535;

// The rest of the line after the first occurrence of the text, in any letter case; nullopt without it. Keeps a carriage
// return at its end.
struct LineRest {
    std::string_view text;
    bool ended = false;  // by a line feed; false if the header ends first
};
std::optional<LineRest> line_after(std::string_view header, std::string_view name) {
    const auto rest = str_after_nocase(header, name);
    if (!rest) return std::nullopt;
    const std::size_t end = rest->find('\n');
    return LineRest{.text = rest->substr(0, end), .ended = end != std::string_view::npos};
}

std::string_view without_first(std::string_view text, std::size_t characters) {
    return text.substr(std::min(characters, text.size()));
}

std::uint32_t sid_number(std::string_view text) {
    return static_cast<std::uint32_t>(text_int64(text));
}

std::int32_t asked_timeout(std::string_view header) {
    const auto line = line_after(header, "TIMEOUT:");
    if (!line) return 0;
    const std::size_t dash = line->text.find('-');
    return dash == std::string_view::npos ? 0 : text_int(line->text.substr(dash + 1));
}

Text asked_callback(std::string_view header) {
    const auto line = line_after(header, "CALLBACK:");
    if (!line || !line->ended) return std::nullopt;
    const std::string_view value = without_first(line->text, 1);  // the blank
    const std::size_t open = value.find('<');
    if (open == std::string_view::npos) return std::nullopt;
    // Kept on purpose: the character before the line feed is dropped even if it is not a carriage return.
    const std::string_view callback = value.substr(open, value.size() - 1 - open);
    return callback.empty() ? Text{} : Text{callback};
}

}  // namespace

unsigned gena_services_of(std::string_view url) {
    return (str_contains(url, "ContentDirectory") ? kContentDirectoryEvents : 0u) |
           (str_contains(url, "ConnectionManager") ? kConnectionManagerEvents : 0u);
}

SubscribeHeader gena_parse_subscribe(std::string_view header) {
    SubscribeHeader asked{.timeout = asked_timeout(header), .sid = {}, .callback = asked_callback(header)};
    if (const auto line = line_after(header, "SID: uuid:")) asked.sid = sid_number(line->text);
    return asked;
}

std::optional<std::uint32_t> gena_parse_unsubscribe(std::string_view header) {
    const auto line = line_after(header, "SID:");
    return line ? std::optional{sid_number(without_first(line->text, std::string_view{" uuid:"}.size()))}
                : std::nullopt;
}

std::vector<CallbackUrl> gena_callback_urls(std::string_view callback) {
    std::vector<CallbackUrl> urls;
    for (std::size_t at = callback.find(kHttp); at != std::string_view::npos; at = callback.find(kHttp, at + 1)) {
        std::string_view url = callback.substr(std::min(at + kHostOffset, callback.size()));
        url = url.substr(0, url.find('>'));
        const std::size_t slash = url.find('/');
        if (slash == std::string_view::npos) break;
        const std::string_view host_port = url.substr(0, slash), path = url.substr(slash);
        const std::size_t colon = host_port.find(':');
        const bool has_port = colon != std::string_view::npos;
        const int port = has_port ? text_int(host_port.substr(colon + 1)) : 80;
        // Kept on purpose: without a port the host loses its last character.
        const std::string_view host = host_port.substr(0, has_port ? colon : std::max<std::size_t>(slash, 1) - 1);
        if (!http_is_sendable(host_port) || !http_is_sendable(path)) continue;
        urls.push_back({.host = std::string{host},
                        .port = port > 0 && port <= kHighestPort ? port : 0,
                        .host_port = std::string{host_port},
                        .path = std::string{path}});
    }
    return urls;
}

std::string gena_notify_message(const CallbackUrl& url, std::uint32_t sid, std::int32_t seq, std::string_view body) {
    TextBuffer message{{}, body.size() + 512};
    message.append("NOTIFY ").append(url.path).append(" HTTP/1.1\r\nHOST: ").append(url.host_port);
    message.append("\r\nCONTENT-TYPE: text/xml\r\nCONTENT-LENGTH: ").append(std::to_string(body.size()));
    message.append("\r\nNT: upnp:event\r\nNTS: upnp:propchange\r\nSID: uuid:").append(std::to_string(sid));
    message.append("\r\nSEQ: ").append(std::to_string(seq));
    message.append("\r\nUser-Agent: SSDP CD Events");
    message.append("\r\nCache-Control: no-cache\r\n\r\n").append(body);
    return std::move(message).take();
}

std::string gena_update_id_body(std::int32_t system_update_id, std::string_view container_update_ids) {
    TextBuffer body;
    body.append(text_format(512,
                            "<e:propertyset xmlns:e=\"urn:schemas-upnp-org:event-1-0\">\n"
                            "<e:property>\n<SystemUpdateID>%lu</SystemUpdateID>\n</e:property>\n"
                            "<e:property>\n<ContainerUpdateIDs>",
                            static_cast<unsigned long>(system_update_id)));
    body.append(container_update_ids);
    body.append(
        "</ContainerUpdateIDs>\n</e:property>\n"
        "<e:property>\n<TransferIDs></TransferIDs>\n</e:property>\n</e:propertyset>\n");
    return std::move(body).take();
}

std::string gena_cm_body(std::string_view source, std::string_view sink) {
    return text_format(512,
                       "<e:propertyset xmlns:e=\"urn:schemas-upnp-org:event-1-0\">\n"
                       "<e:property>\n<SourceProtocolInfo>%s</SourceProtocolInfo>\n</e:property>\n"
                       "<e:property>\n<SinkProtocolInfo>%s</SinkProtocolInfo>\n</e:property>\n"
                       "<e:property>\n<CurrentConnectionIDs>0</CurrentConnectionIDs>\n</e:property>\n"
                       "</e:propertyset>\n",
                       std::string{source}.c_str(), std::string{sink}.c_str());
}
