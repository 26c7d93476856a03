#include "support/handler_call.h"

#include <sys/socket.h>

#include <algorithm>
#include <limits>
#include <thread>
#include <utility>

#include "core/str.h"

namespace {

std::string request_text(const HttpRequest& request, std::string_view lines) {
    std::string text = request.method == kHead ? "HEAD " : request.method == kPost ? "POST " : "GET ";
    return text.append(request.url).append(" HTTP/1.1\r\nHost: server\r\n").append(lines).append("\r\n");
}

}  // namespace

std::string receive_up_to(int socket, std::size_t limit) {
    std::string text;
    char buffer[16384];
    while (text.size() < limit) {
        const ssize_t n = recv(socket, buffer, std::min(sizeof buffer, limit - text.size()), 0);
        if (n <= 0) break;
        text.append(buffer, static_cast<std::size_t>(n));
    }
    return text;
}

std::string HandlerAnswer::header(std::string_view name) const {
    const std::size_t at = str_find_nocase(head, str_concat("\n", name) + ":");
    if (at == std::string::npos) return "(none)";
    const std::size_t value = at + name.size() + 2;
    return std::string{str_trim(std::string_view{head}.substr(value, head.find('\r', value) - value))};
}

HttpRequest request_for(std::string_view url, std::string_view lines, std::uint32_t method) {
    HttpRequest request;
    request.method = method;
    request.url = url;
    request.version = 11;
    request.peer = "192.0.2.7";
    request.base_url = "http://127.0.0.1:9000/";
    request.header = request_text(request, lines).substr(0, 1023);
    return request;
}

HandlerAnswer call_handler(HttpHandler handler, HttpRequest request) {
    SocketPair sockets;
    request.socket = sockets.server;
    std::string received;
    std::thread reader{[&] { received = receive_up_to(sockets.client, std::numeric_limits<std::size_t>::max()); }};
    HandlerAnswer answer;
    answer.result = handler(request);
    shutdown(sockets.server, SHUT_RDWR);
    reader.join();

    const std::size_t end = received.find("\r\n\r\n");
    if (end == std::string::npos) {
        answer.body = received;
        return answer;
    }
    answer.head = received.substr(0, end + 2);
    answer.body = received.substr(end + 4);
    answer.status_line = answer.head.substr(0, answer.head.find('\r'));
    return answer;
}

HandlerAnswer call_handler(HttpHandler handler, std::string_view url, std::string_view lines, std::uint32_t method) {
    return call_handler(handler, request_for(url, lines, method));
}
