// The client side of HTTP: small exchanges with clients, station directories and picture sources. Connecting takes at
// most 5 s, silence lasts at most 10 s, an answer has at most 16 MiB. Every failure is "nothing": callers treat it as
// not reachable.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/socket.h"
#include "core/text_buffer.h"

// Sent with every request; "Pelorama User-Agent" until something was set.
void http_set_user_agent(std::string_view text);

constexpr int kConnectMs = 5000;
constexpr int kMaxInterimAnswers = 8;                  // such as "100 Continue", before the one that counts
constexpr std::size_t kAnswerHeaderBytes = 16 * 1024;  // today's web servers say more than a client does

// A connection to the host and port of an "http://" (80) or "ftp://" (21) URL; user and password in it are not used.
Socket http_connect(std::string_view url, int timeout_ms = kConnectMs);

// False on failure. Sends nothing if the URL holds blanks or control characters, or if the GET would have more than 512
// bytes. extra_headers are whole lines, each ending in "\r\n".
bool http_send_get(int socket, std::string_view url, std::string_view extra_headers = {});
// A GET for what is passed on to a player: the host is named without user and password, which become an Authorization
// line (RFC 7617), the connection ends with the answer, and a URL may be as long as those of today's stations are.
bool http_send_stream_get(int socket, std::string_view url, std::string_view extra_headers = {});
// The header alone; the body is the caller's to send.
bool http_send_post(int socket, std::string_view url, std::string_view soapaction, std::string_view body);

// The body that follows an answer header; nullopt if nothing delimits it or it is too large. A body that ends
// early is given as far as it came.
std::optional<TextBuffer> http_read_body(int socket, std::string_view header, int total_ms = 60'000);

enum class TalkMode { post = 1, get = 2 };
// One whole exchange on a fresh connection, over within total_ms (looking a host name up aside): the answer's body.
constexpr int kTalkMs = 60'000;
std::optional<TextBuffer> http_talk(TalkMode mode, std::string_view url, std::string_view soapaction = {},
                                    std::string_view body = {}, int total_ms = kTalkMs);
