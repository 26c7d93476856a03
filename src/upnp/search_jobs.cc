#include "upnp/search_jobs.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <utility>

namespace {

// "This network" (0/8) reads as this host, 224/4 is multicast, 240/4 reserved and broadcast (RFC 1122,
// section 3.2.1.3). A subnet's own broadcast address need not be recognised: the system refuses it to a socket without
// SO_BROADCAST.
bool can_be_answered(const sockaddr_in& requester) {
    const std::uint32_t first_octet = ntohl(requester.sin_addr.s_addr) >> 24;
    return requester.sin_port != 0 && first_octet != 0 && first_octet < 224;
}

}  // namespace

bool SearchJobs::add(Time due, SearchJob job) {
    if (!can_be_answered(job.requester)) return false;

    const auto same_source = [&job](const auto& entry) {
        return entry.second.requester.sin_addr.s_addr == job.requester.sin_addr.s_addr;
    };
    const auto from_source = std::ranges::count_if(by_due_, same_source);
    if (static_cast<std::size_t>(from_source) >= kMaxSearchJobsPerSource) return false;

    if (by_due_.size() >= kMaxSearchJobs) {
        const auto last = std::prev(by_due_.end());
        if (due >= last->first) return false;
        by_due_.erase(last);
    }
    by_due_.emplace(due, std::move(job));
    return true;
}

std::optional<SearchJobs::Time> SearchJobs::next_due() const {
    if (by_due_.empty()) return std::nullopt;
    return by_due_.begin()->first;
}

std::optional<SearchJob> SearchJobs::take_due(Time now) {
    if (by_due_.empty() || by_due_.begin()->first > now) return std::nullopt;
    return std::move(by_due_.extract(by_due_.begin()).mapped());
}
