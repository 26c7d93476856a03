// The device description that discovery points clients at: who the server is, what it is called, and where its two
// services are.
#pragma once

#include <string>
#include <string_view>

#include "http/request.h"

// "/DeviceDescription.xml".
HandlerResult handle_device_description(const HttpRequest& request, HttpResponse& response);

// The document for a listener's base address ("http://address:port/").
std::string device_description(const std::string& base_url);

// The name clients show, escaped for the description: the setting `friendlyname` where it is set and not too long
// when escaped, otherwise the host's name followed by ": Pelorama". At most 1023 bytes.
std::string description_friendly_name();
