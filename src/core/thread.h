// Threads, sleeping, uptime, and the flag by which a long-lived thread is asked to end.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <thread>

void sleep_ms(std::int64_t milliseconds);

// Milliseconds since the first call, which gives 0; wraps after 49 days as unsigned 32-bit counters do.
std::uint32_t uptime_ms();

// A joinable thread. Returns nullopt, after a line on standard error, if the system has none left.
std::optional<std::thread> thread_start(std::function<void()> routine);

// A detached thread with a small stack (256 KiB: thousands of idle connections must be cheap). It owns what the routine
// captured. False, after a line on standard error, if the system has none left.
bool thread_start_detached(std::function<void()> routine);

class RunningFlag;
// A detached thread whose flag runs while it does: sets the flag before the thread starts, so that a stop that comes
// first is not lost, and clears it when the routine ends. False when the flag was not idle or the system has no thread
// left; the flag is then as it was.
bool thread_start_flagged(RunningFlag& flag, std::function<void()> routine);

// Runs work that keeps a processor busy, and waits for its end. The work gets a thread of its own with a lower
// priority, so that short requests do not wait for it. If the system has no thread left, it runs on the calling thread.
void run_giving_way(const std::function<void()>& work);

// The system's text for the current errno; safe in every thread.
std::string error_text();

// Prints "WHAT: reason of the current errno" to standard error, as the C library's error printer does.
void print_error(const char* what);

// 0 not running, 1 running, -1 asked to stop. thread_start_flagged sets and clears it; stopping code only ever turns
// running into asked.
class RunningFlag {
public:
    int value() const { return value_.load(); }
    bool running() const { return value() == 1; }
    bool idle() const { return value() == 0; }
    // False if it was not idle: a thread runs, or was asked to stop and has not ended yet.
    bool set_running() {
        int idle = 0;
        return value_.compare_exchange_strong(idle, 1);
    }
    void clear() { value_.store(0); }
    void ask_to_stop() {
        int running = 1;
        value_.compare_exchange_strong(running, -1);
    }

private:
    std::atomic<int> value_{0};
};

// Waits until is_done() holds, looking every 50 ms, no longer than the limit.
void wait_at_most(int limit_ms, bool (*is_done)());

// Sleeps in slices of at most slice_ms, looking at the flag after each; false as soon as it no longer runs.
bool sleep_while_running(const RunningFlag& flag, std::int64_t milliseconds, std::int64_t slice_ms = 100);
