// How an action answers: its response envelope, or a UPnP fault (UPnP Device Architecture 1.0, sections 3.2.2
// and 3.2.3).
#pragma once

#include <string_view>

#include "http/request.h"

// Around the response element of every action.
constexpr std::string_view kSoapHead =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?><s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" "
    "s:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\"><s:Body>";
constexpr std::string_view kSoapTail = "</s:Body></s:Envelope>";
constexpr std::string_view kXmlContentType = "text/xml; charset=\"UTF-8\"";

// The common way an action answers: header for status 200, then the body, in one segment where they fit. close when
// sending failed.
HandlerResult soap_send_response(const HttpRequest& request, HttpResponse& response, std::string_view body);

// The error envelope for a UPnP code; a code that is not in the table goes out as 604. close when sending failed.
HandlerResult soap_send_fault(const HttpRequest& request, HttpResponse& response, int code);
