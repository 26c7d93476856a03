// Fetches one file from an FTP server and passes it on to an HTTP client: the dialogue on the control connection runs
// in the request's thread, a second thread moves the file from a passive data connection into the client's socket.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include "http/request.h"

// Told how many bytes are through: 0 when the answer has begun, then again and again from the second thread.
using FtpProgress = std::function<void(std::int64_t bytes)>;

// Answers the request with the file of an "ftp://" URL; the response's content_type is the caller's to set. What the
// server refuses is not found. Returns when both connections have ended.
HandlerResult ftp_relay(const HttpRequest& request, HttpResponse& response, std::string_view source,
                        const FtpProgress& progress = {});
