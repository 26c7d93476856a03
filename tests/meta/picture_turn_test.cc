#include "handlers/picture_turn.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>

#include "support/http_peer.h"

namespace {

constexpr std::int64_t kAllMemory = 256 * 1024 * 1024;

TEST(PictureTurn, IsForReceiversThatAreThere) {
    SocketPair idle, there, gone, ended, ended_too;
    gone.close_client();
    ended.far.end_sending();
    ended_too.far.end_sending();
    const auto waits = [](const SocketPair& sockets) {
        return std::async(std::launch::async, [&] { return picture_take_turn(sockets.server, 1).has_value(); });
    };
    EXPECT_FALSE(picture_take_turn(gone.server, 0));

    auto unread = picture_take_turn(idle.server, kAllMemory);
    ASSERT_TRUE(unread);
    unread->scaling.give_back();
    auto first = waits(ended), second = waits(ended_too);
    EXPECT_EQ(first.wait_for(std::chrono::milliseconds{50}), std::future_status::timeout);
    EXPECT_TRUE(picture_take_turn(ended_too.server, 0)) << "nobody waits that surely is there";
    unread.reset();
    EXPECT_TRUE(first.get() && second.get());

    unread = picture_take_turn(idle.server, kAllMemory);
    unread->scaling.give_back();
    auto third = waits(there);
    EXPECT_FALSE(picture_take_turn(ended.server, 1)) << "others wait";
    auto small = picture_take_turn(there.server, 0), small_too = picture_take_turn(there.server, 0);
    EXPECT_TRUE(small && small_too) << "who waits for memory has no turn yet";
    unread.reset();
    EXPECT_FALSE(picture_take_turn(ended.server, 0)) << "nor where there is a turn at once";
    small.reset();
    EXPECT_TRUE(third.get());
}

}  // namespace
