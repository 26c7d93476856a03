// A limit of time for work that waits more than once.
#pragma once

#include <cstdint>

#include "core/thread.h"

class Deadline {
public:
    // Begins now.
    explicit Deadline(int milliseconds) : limit_(static_cast<std::uint32_t>(milliseconds)), started_(uptime_ms()) {}
    // 0 from the end on.
    int left_ms() const {
        const std::uint32_t elapsed = uptime_ms() - started_;  // right across the wrap of the counter, too
        return elapsed >= limit_ ? 0 : static_cast<int>(limit_ - elapsed);
    }

private:
    std::uint32_t limit_;
    std::uint32_t started_;
};
