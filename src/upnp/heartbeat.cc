#include "upnp/heartbeat.h"

#include <algorithm>
#include "upnp/announcement.h"

namespace {

constexpr int kBurstTicks = 100;     // about 10 seconds
constexpr int kSteadyTicks = 12066;  // 1206.6 seconds, well before announcements expire after 1810

}  // namespace

HeartbeatAction Heartbeat::tick(AnnouncementMode mode) {
    ticks_ = std::min(ticks_ + 1, kSteadyTicks);  // held there, so that silence for months cannot overflow it
    if (mode != mode_) {
        mode_ = mode;
        return mode == AnnouncementMode::silent ? HeartbeatAction::withdraw : HeartbeatAction::announce;
    }
    if (mode == AnnouncementMode::silent || ticks_ < (bursts_left_ > 0 ? kBurstTicks : kSteadyTicks)) {
        return HeartbeatAction::nothing;
    }
    ticks_ = 0;
    bursts_left_ = std::max(bursts_left_ - 1, 0);
    return HeartbeatAction::announce;
}
