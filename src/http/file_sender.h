// Sends stretches of an open file to a socket without copying them through this process. The process must ignore
// SIGPIPE: sendfile cannot be told to keep quiet when the peer has gone.
#pragma once

#include <cstdint>
#include <optional>

#include "core/file.h"

class FileSender {
public:
    // Starts at offset (bytes, not negative). The socket and the file stay the caller's.
    // The socket does not block while this lives: waiting for room in large steps takes half the processor time of a
    // blocking sendfile, which is woken for every few bytes. It is corked as well: Nagle's algorithm is off, so each
    // piece would leave in a segment of its own, which costs a quarter of the speed. A last short segment leaves after
    // 200 ms at the latest, or when this is destroyed.
    FileSender(int socket, const File& file, std::int64_t offset);
    ~FileSender();
    FileSender(const FileSender&) = delete;
    FileSender& operator=(const FileSender&) = delete;

    // Sends the next count bytes. The result is smaller only if the file ends; nullopt if the client went away or
    // the file could not be read (errno says why).
    std::optional<std::int64_t> send(std::int64_t count);

private:
    std::int64_t send_some(std::int64_t count);
    std::int64_t copy_some(std::int64_t count);

    int socket_;
    const File& file_;
    std::int64_t offset_;
    bool by_copy_ = false;  // the file system has no sendfile
};
