// Sending responses: the header block, short bodies, the not-found page.
#pragma once

#include <string>
#include <string_view>

#include "http/request.h"

constexpr const char* kHtmlType = "text/html; charset=UTF-8";

// Sends the response header. Statuses 206, 404, 412, 416 and 500 have lines of their own, every other one is "200 OK";
// the four errors have the type of an error page, whatever the record says. If a body follows, the header waits for it,
// so that both leave in one segment. False if sending failed or the header would have more than 1024 bytes (logged).
enum class BodyFollows { no, yes };
bool http_send_header(const HttpRequest& request, const HttpResponse& response, BodyFollows body = BodyFollows::no);

// Sends the header with that type and the length of the body, and the body; for HEAD the header alone.
HandlerResult http_send_text(const HttpRequest& request, HttpResponse& response, std::string_view content_type,
                             std::string_view body);

// The 404 page. It names the request's URL, or the one that is given.
HandlerResult http_send_not_found(const HttpRequest& request, HttpResponse& response);
HandlerResult http_send_not_found(const HttpRequest& request, HttpResponse& response, std::string_view url);

// "&", "<", ">" and quotes as HTML entities.
std::string html_escape(std::string_view text);
