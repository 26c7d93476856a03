#include "core/share.h"

#include <chrono>

std::int64_t ShareLimit::in_use() const {
    std::scoped_lock lock{mutex_};
    return used_;
}

std::optional<Share> Share::take(ShareLimit& limit, std::int64_t amount, int wait_ms) {
    std::unique_lock lock{limit.mutex_};
    const auto fits = [&] { return limit.used_ == 0 || limit.used_ + amount <= limit.total_; };
    if (!limit.returned_.wait_for(lock, std::chrono::milliseconds{wait_ms}, fits)) return std::nullopt;
    limit.used_ += amount;
    return Share{limit, amount};
}

void Share::give_back() {
    ShareLimit* const limit = std::exchange(limit_, nullptr);
    if (limit == nullptr) return;
    {
        std::scoped_lock lock{limit->mutex_};
        limit->used_ -= amount_;
    }
    limit->returned_.notify_all();
}
