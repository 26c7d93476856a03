#include "support/own_network.h"

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>

#include "core/socket.h"
#include "core/thread.h"

namespace {

Socket control_socket() {
    return Socket{socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
}

ifreq request_for(const std::string& name) {
    ifreq request{};
    std::memcpy(request.ifr_name, name.data(), std::min(name.size(), sizeof request.ifr_name - 1));
    return request;
}

bool set_flags(const std::string& name, int flags) {
    ifreq request = request_for(name);
    request.ifr_flags = static_cast<short>(flags);
    return ioctl(control_socket().fd(), SIOCSIFFLAGS, &request) == 0;
}

bool bring_up_loopback() {
    return set_flags("lo", IFF_UP | IFF_LOOPBACK | IFF_RUNNING | IFF_MULTICAST);
}

}  // namespace

bool enter_own_network() {
    static const bool entered =
        (unshare(CLONE_NEWNET) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0) && bring_up_loopback();
    return entered;
}

LoopbackAlias::LoopbackAlias(int number, const char* address) : name_("lo:" + std::to_string(number)) {
    ifreq request = request_for(name_);
    const sockaddr_in endpoint = ipv4_endpoint(ipv4_parse(address), 0);
    std::memcpy(&request.ifr_addr, &endpoint, sizeof endpoint);
    if (ioctl(control_socket().fd(), SIOCSIFADDR, &request) != 0) print_error("SIOCSIFADDR");
}

LoopbackAlias::~LoopbackAlias() {
    // An alias that goes down is gone.
    if (!name_.empty() && !set_flags(name_, 0)) print_error("SIOCSIFFLAGS");
}
