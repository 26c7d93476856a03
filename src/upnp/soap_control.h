// The control URL of both services: finds the action that the request's SOAPACTION header names, takes its arguments
// out of the body and has it answered. Runs on the connection's thread; every request has its own tree.
#pragma once

#include "http/request.h"

HandlerResult handle_soap_control(const HttpRequest& request, HttpResponse& response);
