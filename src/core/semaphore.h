// A counting semaphore for what the process has only so much of: memory, or work that keeps a processor busy.
//
//     auto memory = Reservation::take(unsent_bytes, 1'000'000, 30'000);   // blocks for at most 30 seconds
//     if (!memory) return;                                                // its destructor gives it back
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
    std::int64_t in_use_ = 0;
};

// A part of a semaphore's total. The semaphore must outlive it.
class Reservation {
public:
    // Blocks until that much is free; returns nullopt if it was not within wait_ms. An amount above the total is given
    // out as soon as nothing else is in use.
    static std::optional<Reservation> take(Semaphore& semaphore, std::int64_t amount, int wait_ms);
    ~Reservation() { give_back(); }
    Reservation(Reservation&& other) noexcept
        : semaphore_(std::exchange(other.semaphore_, nullptr)), amount_(other.amount_) {}
    Reservation& operator=(Reservation&& other) noexcept {
        std::swap(semaphore_, other.semaphore_);
        std::swap(amount_, other.amount_);
        return *this;
    }
    // Returns everything now; a second call does nothing.
    void give_back();
    // Changes the amount, up or down, without waiting.
    void resize(std::int64_t amount);

private:
    Reservation(Semaphore& semaphore, std::int64_t amount) : semaphore_(&semaphore), amount_(amount) {}
    Semaphore* semaphore_;  // null after give_back() and when moved from
    std::int64_t amount_;
};
