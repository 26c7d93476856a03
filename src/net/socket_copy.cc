#include "net/socket_copy.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include "core/socket.h"

namespace {

constexpr int kPipeBytes = 1024 * 1024;  // more than one process may ask for is refused, and the usual 64 KiB stay

}  // namespace

SocketCopy::SocketCopy(int from, int to, int silence_ms) : from_(from), to_(to), silence_ms_(silence_ms) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        end_ = End::source_failed;
    } else {
        pipe_out_ = Socket{ends[0]};
        pipe_in_ = Socket{ends[1]};
        fcntl(pipe_in_.fd(), F_SETPIPE_SZ, kPipeBytes);
    }
    socket_set_blocking(from_, false);
    socket_set_blocking(to_, false);
    socket_set_corked(to_, true);
}

SocketCopy::~SocketCopy() {
    socket_set_corked(to_, false);
    socket_set_blocking(to_, true);
    socket_set_blocking(from_, true);
}

std::int64_t SocketCopy::ended(End how) {
    end_ = how;
    return 0;
}

std::int64_t SocketCopy::move(std::int64_t count) {
    const std::int64_t taken = take(count);
    return taken > 0 && give(taken) ? taken : 0;
}

// Into the pipe, which is empty.
std::int64_t SocketCopy::take(std::int64_t count) {
    const auto wanted = static_cast<std::size_t>(std::min<std::int64_t>(count, kPipeBytes));
    while (end_ == End::open) {
        const ssize_t n = splice(from_, nullptr, pipe_in_.fd(), nullptr, wanted, SPLICE_F_MOVE | SPLICE_F_NONBLOCK);
        if (n > 0) return n;
        if (n == 0) return ended(End::source_ended);
        if (errno == EAGAIN) {
            wait_for_source();
        } else if (errno != EINTR) {
            return ended(End::source_failed);
        }
    }
    return 0;
}

// Empties the pipe. There is no limit of time: the client may be a paused player.
bool SocketCopy::give(std::int64_t count) {
    while (count > 0) {
        const ssize_t n = splice(pipe_out_.fd(), nullptr, to_, nullptr, static_cast<std::size_t>(count),
                                 SPLICE_F_MOVE | SPLICE_F_NONBLOCK);
        if (n > 0) {
            count -= n;
        } else if (n < 0 && errno == EAGAIN) {
            socket_wait_writable(to_, -1);
        } else if (n == 0 || errno != EINTR) {
            end_ = End::client_gone;
            return false;
        }
    }
    return true;
}

void SocketCopy::wait_for_source() {
    // poll always reports that the client's connection ended. Urgent data (RFC 6093) is refused, no file or stream has
    // it: splice stops before it, while the bytes after it count as readable, which would loop without end.
    std::array<pollfd, 2> waiting{
        {{.fd = from_, .events = POLLIN | POLLPRI, .revents = 0}, {.fd = to_, .events = 0, .revents = 0}}};
    const int ready = poll(waiting.data(), waiting.size(), silence_ms_);
    if (ready == 0 || (waiting[0].revents & POLLPRI) != 0) end_ = End::source_failed;
    if (ready > 0 && waiting[1].revents != 0) end_ = End::client_gone;
}
