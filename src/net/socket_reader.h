// Reading a socket against the clock: every wait ends at a limit of silence or at the deadline of the whole, whichever
// comes first. Made for one header or one body; used by one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "core/deadline.h"

class SocketReader {
public:
    // Milliseconds: silence between two pieces, deadline from now on. The socket stays the caller's.
    SocketReader(int socket, int silence_ms, int deadline_ms);

    // Why there are no more bytes.
    enum class End { open, closed, failed, late };
    End end() const { return end_; }

    // Waits, and gives as many bytes as there are, at most the span's; peek leaves them in the socket. 0 at the end.
    std::size_t peek(std::span<char> into);
    std::size_t take(std::span<char> into);

    // Takes exactly that many bytes, which were peeked before.
    bool skip(std::size_t bytes);
    // Appends exactly that many bytes, or those that come before the end. The text grows as they arrive.
    bool append(std::string& text, std::uint64_t bytes);

private:
    bool wait();
    std::size_t receive(std::span<char> into, int flags);

    int socket_;
    int silence_ms_;
    Deadline deadline_;
    End end_ = End::open;
};
