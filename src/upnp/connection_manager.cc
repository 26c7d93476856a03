#include "upnp/connection_manager.h"

#include <string>
#include <string_view>

#include "core/str.h"
#include "core/text_buffer.h"
#include "upnp/soap.h"

namespace {

constexpr std::size_t kProtocolInfoCapacity = 1024;
constexpr const char* kSource = "http-get:*:audio/mpeg:*,http-get:*:audio/mpegurl:*,http-get:*:image/jpeg:*";
constexpr const char* kSink = "";  // nothing can be played here

HandlerResult answer(const HttpRequest& request, HttpResponse& response, std::string_view action,
                     std::string_view elements) {
    TextBuffer out{kSoapHead, 1024};
    out.append("  <u:").append(action);
    out.append("Response xmlns:u=\"urn:schemas-upnp-org:service:ConnectionManager:1\">");
    out.append(elements);
    out.append("  </u:").append(action).append("Response>").append(kSoapTail);
    return soap_send_response(request, response, out.text());
}

}  // namespace

HandlerResult cm_get_protocol_info(const HttpRequest& request, HttpResponse& response) {
    return answer(request, response, "GetProtocolInfo",
                  text_format(kProtocolInfoCapacity, "    <Source>%s</Source>      <Sink>%s</Sink>", kSource, kSink));
}

HandlerResult cm_get_current_connection_ids(const HttpRequest& request, HttpResponse& response) {
    return answer(request, response, "GetCurrentConnectionIDs", "    <ConnectionIDs>0</ConnectionIDs>");
}

HandlerResult cm_get_current_connection_info(const HttpRequest& request, HttpResponse& response) {
    return answer(request, response, "GetCurrentConnectionInfo",
                  "    <RcsID>-1</RcsID>"
                  "    <AVTransportID>-1</AVTransportID>"
                  "    <ProtocolInfo></ProtocolInfo>"
                  "    <PeerConnectionManager></PeerConnectionManager>"
                  "    <PeerConnectionID>-1</PeerConnectionID>"
                  "    <Direction>Output</Direction>"
                  "    <Status>Unknown</Status>");
}
