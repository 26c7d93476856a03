#include "upnp/announcement.h"

#include <atomic>

#include "core/process_wide.h"

namespace {

struct ModeState {
    std::atomic<AnnouncementMode> mode{AnnouncementMode::announcing};
};
ModeState& state() {
    return process_wide<ModeState>();
}

}  // namespace

AnnouncementMode announcement_mode() {
    return state().mode.load();
}
void set_announcement_mode(AnnouncementMode mode) {
    state().mode.store(mode);
}
