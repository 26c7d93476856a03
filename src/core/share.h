// A quantity of which only so much may be in use at once: memory, or work that keeps a processor busy. Whoever wants
// some waits for a share and gives it back when the share dies.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <utility>

class ShareLimit {
public:
    explicit ShareLimit(std::int64_t total) : total_(total) {}
    std::int64_t in_use() const;

private:
    friend class Share;
    mutable std::mutex mutex_;
    std::condition_variable returned_;
    const std::int64_t total_;
    std::int64_t used_ = 0;
};

class Share {
public:
    // Missing when there was not enough within the time. An amount above the total waits until nothing is in use.
    static std::optional<Share> take(ShareLimit& limit, std::int64_t amount, int wait_ms);
    ~Share() { give_back(); }
    Share(Share&& other) noexcept : limit_(std::exchange(other.limit_, nullptr)), amount_(other.amount_) {}
    Share& operator=(Share&& other) noexcept {
        std::swap(limit_, other.limit_);
        std::swap(amount_, other.amount_);
        return *this;
    }
    void give_back();
    // Makes it smaller or larger, without waiting.
    void resize(std::int64_t amount);

private:
    Share(ShareLimit& limit, std::int64_t amount) : limit_(&limit), amount_(amount) {}
    ShareLimit* limit_;
    std::int64_t amount_;
};
