#include "core/semaphore.h"

#include <chrono>

std::int64_t Semaphore::in_use() const {
    std::scoped_lock lock{mutex_};
    return used_;
}

std::optional<Reservation> Reservation::take(Semaphore& limit, std::int64_t amount, int wait_ms) {
    std::unique_lock lock{limit.mutex_};
    const auto fits = [&] { return limit.used_ == 0 || limit.used_ + amount <= limit.total_; };
    if (!limit.returned_.wait_for(lock, std::chrono::milliseconds{wait_ms}, fits)) return std::nullopt;
    limit.used_ += amount;
    return Reservation{limit, amount};
}

void Reservation::give_back() {
    resize(0);
    limit_ = nullptr;
}

void Reservation::resize(std::int64_t amount) {
    if (limit_ == nullptr) return;
    {
        std::scoped_lock lock{limit_->mutex_};
        limit_->used_ += amount - amount_;
    }
    amount_ = amount;
    limit_->returned_.notify_all();
}
