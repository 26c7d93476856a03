// The two service descriptions (UPnP Device Architecture 1.0, section 2.3): the actions, their arguments and the
// related state variables. Control points read them before they call an action.
#pragma once

#include <string_view>

#include "http/request.h"

// The whole documents; the same text for the life of the process.
std::string_view content_directory_scpd();
std::string_view connection_manager_scpd();

// "/ContentDirectory.xml" and "/ConnectionManager.xml".
HandlerResult handle_cd_scpd(const HttpRequest& request, HttpResponse& response);
HandlerResult handle_cm_scpd(const HttpRequest& request, HttpResponse& response);
