// How an action answers: its response envelope, or a UPnP fault (UPnP Device Architecture 1.0, sections 3.2.2
// and 3.2.3).
#pragma once

#include <cstddef>
#include <string_view>

#include "core/text_buffer.h"
#include "http/request.h"

constexpr std::string_view kXmlContentType = "text/xml; charset=\"UTF-8\"";

// The response of an action: the envelope and the response element, which the caller fills with what is in it.
class SoapResponse {
public:
    // action and service ("ContentDirectory") stay the caller's. indent stands before the response element's tags.
    SoapResponse(std::string_view service, std::string_view action, std::string_view indent = {},
                 std::size_t capacity = 1024);
    TextBuffer& text() { return text_; }
    // Closes the envelope and sends it. close when sending failed.
    HandlerResult send(const HttpRequest& request, HttpResponse& response);

private:
    std::string_view action_, indent_;
    TextBuffer text_;
};

// Sends an XML document: header for status 200, then the body, in one segment if they fit. close when sending failed.
HandlerResult soap_send_document(const HttpRequest& request, HttpResponse& response, std::string_view body);

// The error envelope for a UPnP code; a code that is not in the table goes out as 604. close when sending failed.
HandlerResult soap_send_fault(const HttpRequest& request, HttpResponse& response, int code);
