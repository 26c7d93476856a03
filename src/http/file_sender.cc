#include "http/file_sender.h"

#include <sys/sendfile.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "core/bytes.h"
#include "core/file.h"
#include "core/socket.h"

namespace {

// What Linux moves with one sendfile call at most.
constexpr std::int64_t kMostPerCall = 0x7ffff000;
constexpr std::size_t kCopyBytes = 16384;

}  // namespace

FileSender::FileSender(int socket, const File& file, std::int64_t offset)
    : socket_(socket), file_(file), offset_(offset) {
    socket_set_blocking(socket_, false);
    socket_set_corked(socket_, true);
}

FileSender::~FileSender() {
    socket_set_corked(socket_, false);
    socket_set_blocking(socket_, true);
}

std::optional<std::int64_t> FileSender::send(std::int64_t count) {
    std::int64_t done = 0;
    while (done < count) {
        const std::int64_t n = by_copy_ ? copy_some(count - done) : send_some(count - done);
        if (n < 0) {
            if (errno == EINTR) continue;
            if (errno == EAGAIN) {
                socket_wait_writable(socket_, -1);
                continue;
            }
            // The file system has no sendfile: from here on by read and send.
            if (by_copy_ || (errno != EINVAL && errno != ENOSYS)) return std::nullopt;
            by_copy_ = true;
            socket_set_blocking(socket_, true);
            continue;
        }
        if (n == 0) break;
        done += n;
    }
    return done;
}

std::int64_t FileSender::send_some(std::int64_t count) {
    off_t at = offset_;
    const ssize_t n = sendfile(socket_, file_.fd(), &at, static_cast<std::size_t>(std::min(count, kMostPerCall)));
    offset_ = at;
    return n;
}

std::int64_t FileSender::copy_some(std::int64_t count) {
    std::array<std::byte, kCopyBytes> buffer;
    const auto wanted = static_cast<std::size_t>(std::min<std::int64_t>(count, kCopyBytes));
    const std::size_t n = file_.read_at(static_cast<std::uint64_t>(offset_), std::span{buffer}.first(wanted));
    if (!socket_send_all(socket_, as_text(std::span{buffer}.first(n)))) return -1;
    offset_ += static_cast<std::int64_t>(n);
    return static_cast<std::int64_t>(n);
}
