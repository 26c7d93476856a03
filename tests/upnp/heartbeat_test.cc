#include "upnp/heartbeat.h"

#include <gmock/gmock.h>

namespace {

using enum AnnouncementMode;
using testing::ElementsAre;

// The ticks (counted from 0) at which something is sent in the given number of ticks.
std::vector<int> active_ticks(Heartbeat& heartbeat, AnnouncementMode mode, int ticks) {
    std::vector<int> active;
    for (int tick = 0; tick < ticks; ++tick)
        if (heartbeat.tick(mode) != HeartbeatAction::nothing) active.push_back(tick);
    return active;
}

TEST(Heartbeat, AnnouncesSoonAndThenSeldomAndWithdrawsOnceInStealthMode) {
    Heartbeat heartbeat{announcing};
    EXPECT_THAT(active_ticks(heartbeat, announcing, 650), ElementsAre(0, 100, 200, 300, 400, 500));
    EXPECT_EQ(heartbeat.tick(silent), HeartbeatAction::withdraw);
    EXPECT_THAT(active_ticks(heartbeat, silent, 1000), ElementsAre());
    EXPECT_EQ(heartbeat.tick(announcing), HeartbeatAction::announce);
    // Coming back does not shift the regular time: 12566 ticks after the start, 1652 of which have gone by.
    EXPECT_THAT(active_ticks(heartbeat, announcing, 26'000), ElementsAre(12566 - 1652, 24632 - 1652));

    Heartbeat stealthy{silent};
    EXPECT_THAT(active_ticks(stealthy, silent, 30'000), ElementsAre());
    EXPECT_EQ(stealthy.tick(announcing), HeartbeatAction::announce);
}

}  // namespace
