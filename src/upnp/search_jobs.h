// Searches that wait for their answer. A search is answered after a random delay so that not all servers of a network
// answer at once; until then it is a job here. The table is bounded, and whoever floods the group cannot crowd out
// others: a source has at most 16 places, and when all 256 are taken a job that waits less replaces the one that would
// wait longest (control points ask for a few seconds, a flood that wants to stay asks for minutes). No lock of its own.
#pragma once

#include <netinet/in.h>

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <string>

constexpr std::size_t kMaxSearchJobs = 256;
constexpr std::size_t kMaxSearchJobsPerSource = 16;

struct SearchJob {
    std::string target;
    sockaddr_in requester{};
};

class SearchJobs {
public:
    using Time = std::chrono::steady_clock::time_point;

    // False when it was refused: no place, or a requester that must never be answered (port 0, a multicast, broadcast
    // or unspecified address).
    bool add(Time due, SearchJob job);

    // When the next job is due; missing when none waits.
    std::optional<Time> next_due() const;
    // The job that is due longest; missing when none is due at now.
    std::optional<SearchJob> take_due(Time now);

    std::size_t size() const { return by_due_.size(); }

private:
    std::multimap<Time, SearchJob> by_due_;  // equal times keep their order of arrival
};
