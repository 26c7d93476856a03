#include "core/semaphore.h"

#include <gtest/gtest.h>

TEST(Reservation, IsHandedOutUpToTheTotal) {
    constexpr int kLong = 60'000;
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
