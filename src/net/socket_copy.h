// Moves bytes from one TCP socket to another without copying them through this process: what a relay does all day. The
// process must ignore SIGPIPE: splice cannot be told to keep quiet when the peer has gone.
#pragma once

#include <cstdint>

#include "core/socket.h"

class SocketCopy {
public:
    // Both sockets stay the caller's, and do not block while this lives. The source may be silent for silence_ms at
    // most; a client that takes nothing is waited for, it is a paused player.
    SocketCopy(int from, int to, int silence_ms);
    ~SocketCopy();
    SocketCopy(const SocketCopy&) = delete;
    SocketCopy& operator=(const SocketCopy&) = delete;

    enum class End {
        open,
        source_ended,
        source_failed,  // it was silent for too long, or went away
        client_gone,
    };
    End end() const { return end_; }

    // Waits for bytes and moves some of them, at most count (above 0). 0 when it came to an end.
    std::int64_t move(std::int64_t count);

private:
    std::int64_t take(std::int64_t count);
    bool give(std::int64_t count);
    void wait_for_source();
    std::int64_t ended(End how);

    int from_, to_;
    int silence_ms_;
    Socket pipe_out_, pipe_in_;
    End end_ = End::open;
};
