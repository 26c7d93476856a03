// Reading header blocks of requests and answers off a socket. No system call per byte, and a header that has begun must
// be complete within a deadline.
#pragma once

#include <cstddef>
#include <string>

constexpr std::size_t kHeaderBytes = 1024;  // the terminator of a header buffer included
constexpr int kReadDeadlineMs = 60'000;     // for a header or an announced body that has begun

enum class HeaderEnd {
    none,       // no header: the peer closed or failed, or was too slow
    complete,   // the text ends in CR LF CR LF
    too_small,  // the buffer was full before the end came (logged); the tail is still in the socket
};
struct ReadHeader {
    std::string text;  // at most capacity - 1 characters; empty when nothing came
    HeaderEnd end = HeaderEnd::none;
};

// Takes exactly the header block off the socket; the body stays in it. Waits for its first byte without limit when
// first_byte_ms is negative.
ReadHeader http_read_header(int socket, int first_byte_ms = -1, int deadline_ms = kReadDeadlineMs,
                            std::size_t capacity = kHeaderBytes);
