// What threads share: a limited amount of something, and the flags that say whether they run.
#include "core/share.h"

#include <gtest/gtest.h>

#include "core/thread.h"

namespace {

TEST(Share, IsHandedOutUpToTheTotal) {
    constexpr int kLong = 60'000;
    ShareLimit limit{10};
    auto first = Share::take(limit, 6, kLong), second = Share::take(limit, 4, kLong);
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

TEST(RunningFlags, GoFromIdleToRunningToAskedToIdle) {
    RunningFlag flag;
    flag.ask_to_stop();
    EXPECT_EQ(flag.value(), 0);  // nobody there to be asked
    flag.set_running();
    flag.ask_to_stop();
    flag.set_running();  // a thread that only now begins
    EXPECT_EQ(flag.value(), -1);
    EXPECT_FALSE(sleep_while_running(flag, 3'600'000));  // at once
    { const ClearsWhenDone done{flag}; }
    EXPECT_TRUE(flag.idle());
}

}  // namespace
