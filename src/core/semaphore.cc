#include "core/semaphore.h"

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>

std::int64_t Semaphore::in_use() const {
    std::scoped_lock lock{mutex_};
    return in_use_;
}

std::optional<Reservation> Reservation::take(Semaphore& semaphore, std::int64_t amount, int wait_ms) {
    std::unique_lock lock{semaphore.mutex_};
    // The first test lets an amount above the total pass: otherwise it would wait for ever.
    const auto fits = [&] { return semaphore.in_use_ == 0 || semaphore.in_use_ + amount <= semaphore.total_; };
    if (!semaphore.returned_.wait_for(lock, std::chrono::milliseconds{wait_ms}, fits)) return std::nullopt;
    semaphore.in_use_ += amount;
    return Reservation{semaphore, amount};
}

void Reservation::give_back() {
    resize(0);
    semaphore_ = nullptr;
}

void Reservation::resize(std::int64_t amount) {
    if (semaphore_ == nullptr) return;
    {
        std::scoped_lock lock{semaphore_->mutex_};
        semaphore_->in_use_ += amount - amount_;
    }
    amount_ = amount;
    // All of them: a small amount may fit now although the one that has waited longest does not.
    semaphore_->returned_.notify_all();
}
