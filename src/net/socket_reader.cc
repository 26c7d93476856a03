#include "net/socket_reader.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace {

constexpr std::size_t kPieceBytes = 16 * 1024;

}  // namespace

SocketReader::SocketReader(int socket, int silence_ms, int deadline_ms)
    : socket_(socket), silence_ms_(silence_ms), deadline_(deadline_ms) {}

std::size_t SocketReader::peek(std::span<char> into) {
    return receive(into, MSG_PEEK);
}

std::size_t SocketReader::take(std::span<char> into) {
    return receive(into, 0);
}

bool SocketReader::skip(std::size_t bytes) {
    char dropped[1024];
    while (bytes > 0) {
        const std::size_t n = take({dropped, std::min(bytes, sizeof dropped)});
        if (n == 0) return false;
        bytes -= n;
    }
    return true;
}

bool SocketReader::append(std::string& text, std::uint64_t bytes) {
    while (bytes > 0) {
        const std::size_t before = text.size();
        const auto piece = static_cast<std::size_t>(std::min<std::uint64_t>(bytes, kPieceBytes));
        text.resize(before + piece);
        const std::size_t n = take({text.data() + before, piece});
        text.resize(before + n);
        if (n == 0) return false;
        bytes -= n;
    }
    return true;
}

bool SocketReader::wait() {
    const int limit = std::min(silence_ms_, deadline_.left_ms());
    pollfd waiting{.fd = socket_, .events = POLLIN, .revents = 0};
    int ready = 0;
    do {
        ready = poll(&waiting, 1, limit);
    } while (ready < 0 && errno == EINTR);
    if (ready == 0) end_ = End::late;
    if (ready < 0) end_ = End::failed;
    return ready > 0;
}

// recv never blocks: poll may report bytes that are gone by the time they are read (a bad checksum, another reader).
std::size_t SocketReader::receive(std::span<char> into, int flags) {
    while (end_ == End::open && wait()) {
        const ssize_t n = recv(socket_, into.data(), into.size(), flags | MSG_DONTWAIT);
        if (n > 0) return static_cast<std::size_t>(n);
        if (n < 0 && (errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK)) continue;
        end_ = n == 0 ? End::closed : End::failed;
    }
    return 0;
}
