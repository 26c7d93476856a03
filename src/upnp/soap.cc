#include "upnp/soap.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/socket.h"
#include "core/str.h"
#include "http/request.h"
#include "http/respond.h"

namespace {

struct UpnpError {
    int code;
    const char* description;
};

// The first row with the code counts.
constexpr auto kUpnpErrors = std::to_array<UpnpError>({
    {401, "invalid Action"},
    {402, "invalid Args"},
    {501, "Action Failed"},
    {600, "Argument Value Invalid"},
    {601, "Argument Value Out of Range"},
    {602, "Optional Action Not implemented"},
    {603, "Out of Memory"},
    {604, "Human Intervention Required"},
    {605, "String Argument Too Long"},
    {606, "Action not authorized"},
    {607, "Signature failure"},
    {608, "Signature missing"},
    {609, "Not encrypted"},
    {610, "Invalid Sequence"},
    {611, "Invalid control URL"},
    {612, "No such session"},
    {701, "No such object"},
    {702, "No contents"},
    {703, "Read error"},
    {704, "Format not supported for playback"},
    {705, "Transport is locked"},
    {708, "Invalid search criteria"},
    {710, "No such container"},
    {711, "Illegal seek target"},
    {712, "Bad metadata"},
    {713, "Restricted parent object"},
    {714, "Illegal MIME-type"},
    {715, "Content BUSY"},
    {716, "Resource not found"},
    {717, "Play speed not supported"},
    {718, "Invalid InstanceID"},
});

// Kept on purpose: a code that has no row goes out as 604.
constexpr std::size_t kCatchAllRow = 7;
static_assert(kUpnpErrors[kCatchAllRow].code == 604);

constexpr std::size_t kFaultCapacity = 1024;
constexpr std::string_view kEnvelope =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?><s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" "
    "s:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\">";
constexpr char kFault[] =
    "\n"
    " <s:Body>\n"
    "  <s:Fault>\n"
    "   <faultcode>s:Client</faultcode>\n"
    "   <faultstring>UPnPError</faultstring>\n"
    "   <detail>\n"
    "    <UPnPError xmlns=\"urn:schemas-upnp-org:control-1-0\">\n"
    "     <errorCode>%d</errorCode>\n"
    "     <errorDescription>%s</errorDescription>\n"
    "    </UPnPError>\n"
    "   </detail>\n"
    "  </s:Fault>\n"
    " </s:Body>\n"
    "</s:Envelope>\n";

const UpnpError& error_row(int code) {
    for (const UpnpError& row : kUpnpErrors)
        if (row.code == code) return row;
    return kUpnpErrors[kCatchAllRow];
}

// Kept on purpose: the header writer has no line for 402 and 501, so these two faults reach the control point as "200
// OK" with the XML type, all others as 500 with the type of its error page.
int fault_status(int code) {
    return code == 402 || code == 501 ? code : 500;
}

}  // namespace

SoapResponse::SoapResponse(std::string_view service, std::string_view action, std::string_view indent,
                           std::size_t capacity)
    : action_(action), indent_(indent), text_(kEnvelope, capacity) {
    text_.append("<s:Body>").append(indent).append("<u:").append(action);
    text_.append("Response xmlns:u=\"urn:schemas-upnp-org:service:").append(service).append(":1\">");
}

HandlerResult SoapResponse::send(const HttpRequest& request, HttpResponse& response) {
    text_.append(indent_).append("</u:").append(action_).append("Response></s:Body></s:Envelope>");
    return soap_send_document(request, response, text_.text());
}

HandlerResult soap_send_document(const HttpRequest& request, HttpResponse& response, std::string_view body) {
    return http_send_text(request, response, kXmlContentType, body);
}

HandlerResult soap_send_fault(const HttpRequest& request, HttpResponse& response, int code) {
    const UpnpError& error = error_row(code);
    std::string body = str_concat(kEnvelope, text_format(kFaultCapacity, kFault, error.code, error.description));
    // Kept on purpose: the length counts the terminating NUL, and the NUL is sent.
    body.push_back('\0');

    response.content_length = static_cast<std::int64_t>(body.size());
    response.content_type = kXmlContentType;
    response.status = fault_status(error.code);
    if (!http_send_header(request, response, BodyFollows::yes)) return HandlerResult::close;
    return socket_send_all(request.socket, body) ? HandlerResult::keep : HandlerResult::close;
}
