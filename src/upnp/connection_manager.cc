#include "upnp/connection_manager.h"

#include <string_view>

#include "core/str.h"
#include "http/request.h"
#include "upnp/protocol_info.h"
#include "upnp/soap.h"

namespace {

HandlerResult answer(const HttpRequest& request, HttpResponse& response, std::string_view action,
                     std::string_view elements) {
    SoapResponse soap{"ConnectionManager", action, "  "};
    soap.text().append(elements);
    return soap.send(request, response);
}

}  // namespace

HandlerResult cm_get_protocol_info(const HttpRequest& request, HttpResponse& response) {
    return answer(
        request, response, "GetProtocolInfo",
        text_format(1024, "    <Source>%s</Source>      <Sink>%s</Sink>", kSourceProtocolInfo, kSinkProtocolInfo));
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
