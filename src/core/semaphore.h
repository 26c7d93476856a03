// A quantity of which only so much may be in use at once: memory, or work that keeps a processor busy. Whoever wants
// some waits for a share and gives it back when the share dies.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <utility>

class Semaphore {
public:
    explicit Semaphore(std::int64_t total) : total_(total) {}
    std::int64_t in_use() const;

private:
    friend class Reservation;
    mutable std::mutex mutex_;
    std::condition_variable returned_;
    const std::int64_t total_;
    std::int64_t used_ = 0;
};

class Reservation {
public:
    // Missing when there was not enough within the time. An amount above the total waits until nothing is in use.
    static std::optional<Reservation> take(Semaphore& limit, std::int64_t amount, int wait_ms);
    ~Reservation() { give_back(); }
    Reservation(Reservation&& other) noexcept : limit_(std::exchange(other.limit_, nullptr)), amount_(other.amount_) {}
    Reservation& operator=(Reservation&& other) noexcept {
        std::swap(limit_, other.limit_);
        std::swap(amount_, other.amount_);
        return *this;
    }
    void give_back();
    // Makes it smaller or larger, without waiting.
    void resize(std::int64_t amount);

private:
    Reservation(Semaphore& limit, std::int64_t amount) : limit_(&limit), amount_(amount) {}
    Semaphore* limit_;
    std::int64_t amount_;
};
