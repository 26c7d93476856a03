// When the device announces itself: often after the start, later only often enough to stay known, and never in stealth
// mode. Pure: one call a tick says what to send.
#pragma once

#include "upnp/announcement.h"

constexpr int kHeartbeatTickMs = 100;

enum class HeartbeatAction { nothing, announce, withdraw };

class Heartbeat {
public:
    explicit Heartbeat(AnnouncementMode mode) : mode_(mode) {}

    // Called once every kHeartbeatTickMs with the mode as it is now.
    HeartbeatAction tick(AnnouncementMode mode);

private:
    AnnouncementMode mode_;  // as the network was last told
    int ticks_ = 1810;       // since the last regular announcement; begins high, so the first one is due at once
    int bursts_left_ = 6;    // announcements in quick succession, for clients that miss the first
};
