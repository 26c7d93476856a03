#include "handlers/picture_turn.h"

#include <poll.h>

#include <limits>

#include "core/process_wide.h"
#include "core/thread.h"

namespace {

constexpr std::int64_t kMaxScalings = 2;
constexpr std::int64_t kMaxUnsentBytes = 256 * 1024 * 1024;
constexpr std::uint32_t kWaitMs = 600'000;
constexpr int kLookMs = 500;  // while waiting, for clients that have gone

struct PictureLimits {
    Semaphore present{std::numeric_limits<std::int64_t>::max()};  // no limit: counts those that wait and are there
    Semaphore scalings{kMaxScalings};
    Semaphore unsent{kMaxUnsentBytes};
};
PictureLimits& limits() {
    return process_wide<PictureLimits>();
}

// Counts those that surely are there among the present ones.
bool is_wanted(int socket, std::optional<Reservation>& present) {
    pollfd peer{.fd = socket, .events = POLLRDHUP, .revents = 0};
    if (poll(&peer, 1, 0) <= 0) {
        if (!present) present = Reservation::take(limits().present, 1, 0);
        return true;
    }
    present.reset();
    return (peer.revents & (POLLHUP | POLLERR)) == 0 && limits().present.in_use() == 0;
}

std::optional<Reservation> wait_for(Semaphore& limit, std::int64_t amount, int socket,
                                    std::optional<Reservation>& present) {
    std::optional<Reservation> share;
    const std::uint32_t begun = uptime_ms();
    for (int wait_ms = 0; !share && uptime_ms() - begun < kWaitMs; wait_ms = kLookMs) {
        share = Reservation::take(limit, amount, wait_ms);
        if (!is_wanted(socket, present)) return std::nullopt;
    }
    return share;
}

}  // namespace

bool PictureTurn::alone() const {
    return limits().scalings.in_use() == 1;
}

// Memory comes before the turn: a turn that waited for clients to read would be lost to all others.
std::optional<PictureTurn> picture_take_turn(int socket, std::int64_t bytes) {
    std::optional<Reservation> present;
    auto unsent = wait_for(limits().unsent, bytes, socket, present);
    if (!unsent) return std::nullopt;
    auto scaling = wait_for(limits().scalings, 1, socket, present);
    if (!scaling) return std::nullopt;
    return PictureTurn{.unsent = std::move(*unsent), .scaling = std::move(*scaling)};
}
