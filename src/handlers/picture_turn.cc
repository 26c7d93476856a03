// How it works
//
//     request ---> unsent (256 MiB) ---> scalings (2) ---> load, scale, encode ---> send
//                  |                     |_____________________________________|      |
//                  |__________________________________________________________________|
//
// A request passes two semaphores, always in this order; the lines below show how long it keeps its reservations.
//  - `unsent` counts the bytes of pictures that are being made, and of finished ones until they are sent. A request
//    reserves the most that its picture can take, and returns the rest when the picture's real size is known.
//  - `scalings` counts the pictures that are being made.
// Memory comes first: if a request held a scaling while it waited for memory, nobody could have a picture until slow
// clients had read theirs. As no request waits for memory while it holds a scaling, every scaling ends.
//
// A waiting request looks at its socket every half second and gives up if its client has gone. `present` counts the
// waiting requests whose clients are certainly connected; is_wanted() says what that decides.
#include "handlers/picture_turn.h"

#include <poll.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <utility>

#include "core/process_wide.h"
#include "core/semaphore.h"
#include "core/thread.h"

namespace {

constexpr std::int64_t kMaxScalings = 2;
constexpr std::int64_t kMaxUnsentBytes = 256 * 1024 * 1024;
constexpr std::uint32_t kWaitMs = 600'000;
constexpr int kLookMs = 500;

struct PictureSemaphores {
    Semaphore present{std::numeric_limits<std::int64_t>::max()};  // never full, it only counts
    Semaphore scalings{kMaxScalings};
    Semaphore unsent{kMaxUnsentBytes};
};
PictureSemaphores& semaphores() {
    return process_wide<PictureSemaphores>();
}

// Whether the request is worth waiting for. A client that has not closed its side is present: it is counted as such
// from then on, until `present` dies. One that has closed its side is wanted only while nobody present waits.
bool is_wanted(int socket, std::optional<Reservation>& present) {
    pollfd peer{.fd = socket, .events = POLLRDHUP, .revents = 0};
    if (poll(&peer, 1, 0) <= 0) {
        if (!present) present = Reservation::take(semaphores().present, 1, 0);
        return true;
    }
    present.reset();
    return (peer.revents & (POLLHUP | POLLERR)) == 0 && semaphores().present.in_use() == 0;
}

// Returns nullopt if the client has gone, or after kWaitMs.
std::optional<Reservation> wait_for(Semaphore& semaphore, std::int64_t amount, int socket,
                                    std::optional<Reservation>& present) {
    std::optional<Reservation> taken;
    const std::uint32_t begun = uptime_ms();
    for (int wait_ms = 0; !taken && uptime_ms() - begun < kWaitMs; wait_ms = kLookMs) {
        taken = Reservation::take(semaphore, amount, wait_ms);
        // Looked at even when the turn came at once: a picture for nobody costs as much as any other.
        if (!is_wanted(socket, present)) return std::nullopt;
    }
    return taken;
}

}  // namespace

void PictureTurn::run(const std::function<void()>& work) const {
    const bool alone = semaphores().scalings.in_use() == 1;
    alone ? work() : run_giving_way(work);
}

void PictureTurn::finish(std::size_t bytes) {
    unsent.resize(static_cast<std::int64_t>(bytes));
    scaling.give_back();
}

std::optional<PictureTurn> picture_take_turn(int socket, std::int64_t bytes) {
    std::optional<Reservation> present;
    auto unsent = wait_for(semaphores().unsent, bytes, socket, present);
    if (!unsent) return std::nullopt;
    auto scaling = wait_for(semaphores().scalings, 1, socket, present);
    if (!scaling) return std::nullopt;
    return PictureTurn{.unsent = std::move(*unsent), .scaling = std::move(*scaling)};
}
