#include "core/thread.h"

#include <pthread.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

namespace {

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr std::size_t kStackBytes = 1024 * 1024;  // instrumented frames are larger
#else
constexpr std::size_t kStackBytes = 256 * 1024;
#endif

// The C library keeps the stacks of ended threads for new ones, and what they used stays in memory. Returning it here
// keeps a burst of connections from raising the server's memory for good. Called from the thread's outermost frame:
// everything below it is unused by now, but for the page of this call itself.
[[maybe_unused]] void release_used_stack() {
    constexpr std::size_t kReleased = kStackBytes / 4;
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    char* const here = static_cast<char*>(__builtin_frame_address(0));
    char* const end = here - reinterpret_cast<std::uintptr_t>(here) % page - page;
    madvise(end - kReleased, kReleased, MADV_DONTNEED);
}

void* run_routine(void* owned) {
    {
        const std::unique_ptr<std::function<void()>> routine{static_cast<std::function<void()>*>(owned)};
        (*routine)();
    }
#if !defined(__SANITIZE_THREAD__) && !defined(__SANITIZE_ADDRESS__)
    release_used_stack();
#endif
    return nullptr;
}

}  // namespace

void sleep_ms(std::int64_t milliseconds) {
    if (milliseconds <= 0) return;
    timespec left{.tv_sec = milliseconds / 1000, .tv_nsec = (milliseconds % 1000) * 1'000'000};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

std::uint32_t uptime_ms() {
    const auto now = [] {
        timespec t{};
        clock_gettime(CLOCK_MONOTONIC, &t);
        return static_cast<std::uint64_t>(t.tv_sec) * 1000u + static_cast<std::uint64_t>(t.tv_nsec) / 1'000'000u;
    };
    static const std::uint64_t base = now();
    return static_cast<std::uint32_t>(now() - base);
}

std::optional<std::thread> thread_start(std::function<void()> routine) {
    try {
        return std::thread{std::move(routine)};
    } catch (const std::system_error& failure) {
        errno = failure.code().value();
        print_error("Cannot create thread");
        return std::nullopt;
    }
}

void run_giving_way(const std::function<void()>& work) {
    constexpr int kNicer = 5;
    auto worker = thread_start([&work] {
        // Of this thread alone, and for good: without privileges no thread gets its priority back.
        setpriority(PRIO_PROCESS, 0, getpriority(PRIO_PROCESS, 0) + kNicer);
        work();
    });
    if (worker) {
        worker->join();
    } else {
        work();
    }
}

bool thread_start_detached(std::function<void()> routine) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_attr_setstacksize(&attributes, kStackBytes);
    auto owned = std::make_unique<std::function<void()>>(std::move(routine));
    pthread_t thread;
    const int failed = pthread_create(&thread, &attributes, run_routine, owned.get());
    pthread_attr_destroy(&attributes);
    if (failed != 0) {
        errno = failed;
        print_error("Cannot create thread");
        return false;
    }
    static_cast<void>(owned.release());  // the thread's now
    return true;
}

bool thread_start_flagged(RunningFlag& flag, std::function<void()> routine) {
    if (!flag.set_running()) return false;
    const bool started = thread_start_detached([&flag, routine = std::move(routine)] {
        routine();
        flag.clear();
    });
    if (!started) flag.clear();
    return started;
}

std::string error_text() {
    return std::generic_category().message(errno);
}

void print_error(const char* what) {
    std::fprintf(stderr, "%s: %s\n", what, error_text().c_str());
}

bool sleep_while_running(const RunningFlag& flag, std::int64_t milliseconds, std::int64_t slice_ms) {
    while (milliseconds > 0 && flag.running()) {
        sleep_ms(std::min(milliseconds, slice_ms));
        milliseconds -= slice_ms;
    }
    return flag.running();
}

void wait_at_most(int limit_ms, bool (*is_done)()) {
    constexpr int kLookAgainMs = 50;
    for (int waited = 0; waited < limit_ms && !is_done(); waited += kLookAgainMs) sleep_ms(kLookAgainMs);
}
