// Fetches one file from an FTP server and passes it on to an HTTP client: the dialogue on the control connection runs
// in the request's thread, a second thread moves the file from a passive data connection into the client's socket.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include "http/request.h"

// Called with the number of bytes sent so far: with 0 after the header, then repeatedly from the second thread.
using FtpProgress = std::function<void(std::int64_t bytes)>;

// Answers the request with the file of an "ftp://" URL. The caller sets the response's content_type. What the server
// refuses is answered with 404. Returns when both connections have ended.
HandlerResult ftp_relay(const HttpRequest& request, HttpResponse& response, std::string_view source,
                        const FtpProgress& progress = {});
