#include "core/semaphore.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

constexpr int kLong = 60'000;

TEST(Reservation, IsHandedOutUpToTheTotal) {
    Semaphore limit{10};
    auto first = Reservation::take(limit, 6, kLong), second = Reservation::take(limit, 4, kLong);
    ASSERT_TRUE(first && second);
    EXPECT_EQ(limit.in_use(), 10);
    EXPECT_FALSE(Reservation::take(limit, 1, 0));
    second->give_back();
    EXPECT_FALSE(Reservation::take(limit, 5, 0));
    EXPECT_TRUE(Reservation::take(limit, 4, 0));
    EXPECT_TRUE(Reservation::take(limit, 4, 0)) << "given back by its end";
    first->resize(9);
    EXPECT_FALSE(Reservation::take(limit, 2, 0));
    first->resize(6);

    Reservation moved = std::move(*first);
    first.reset();
    EXPECT_FALSE(Reservation::take(limit, 11, 0));
    moved.give_back();
    moved.give_back();
    EXPECT_TRUE(Reservation::take(limit, 11, 0)) << "more than the total, when nothing is in use";
}

TEST(Reservation, IsWaitedFor) {
    Semaphore limit{2};
    std::atomic<int> in_use{0}, most{0}, done{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            for (int turn = 0; turn < 200; ++turn) {
                const auto share = Reservation::take(limit, 1, kLong);
                if (!share) return;
                const int now = ++in_use;
                for (int seen = most; now > seen && !most.compare_exchange_weak(seen, now);) {
                }
                std::this_thread::yield();
                --in_use;
            }
            ++done;
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(done, 8);
    EXPECT_LE(most, 2);
}

}  // namespace
