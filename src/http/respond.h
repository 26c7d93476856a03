// Answers: the header block, the not-found page, and bodies.
#pragma once

#include <string>
#include <string_view>

#include "http/request.h"

constexpr const char* kHtmlType = "text/html; charset=UTF-8";

// Builds and sends the response header from the record (content_type, content_length, close, extra_headers, range_*).
// Statuses 206, 404, 412, 416 and 500 have lines of their own, every other one is "200 OK"; the four errors also set
// the record's content_type. Where a body follows, the header waits for it, so that both leave in one segment. False
// when sending failed, or when the header would have more than 1024 bytes (logged).
enum class BodyFollows { no, yes };
bool http_send_header(HttpRequest& request, int status, BodyFollows body = BodyFollows::no);

// Header (status, type, length of the body) and body. For HEAD the header alone.
HandlerResult http_send_text(HttpRequest& request, int status, std::string_view content_type, std::string_view body);

// The 404 page, naming the URL; the record stays as it is.
HandlerResult http_send_not_found(const HttpRequest& request);

// "&", "<", ">" and quotes as HTML entities.
std::string html_escape(std::string_view text);
