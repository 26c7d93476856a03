// Searches that wait for their answer. A search is answered after a random delay so that not all servers of a network
// answer at once; until then it is a job here. The table is bounded, and a source that floods the group cannot crowd
// out others: it has at most 16 jobs, and if all 256 are taken, a new job replaces the one that is due last, unless it
// is due later itself (control points ask for a few seconds, a flood that wants to stay asks for minutes). No lock of
// its own.
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

    // False if it was refused: the table is full, or the requester must never be answered (port 0; a multicast,
    // broadcast or unspecified address).
    bool add(Time due, SearchJob job);

    // When the next job is due. Returns nullopt if none waits.
    std::optional<Time> next_due() const;
    // Removes the job that has been due the longest. Returns nullopt if none is due at `now`.
    std::optional<SearchJob> take_due(Time now);

    std::size_t size() const { return by_due_.size(); }

private:
    std::multimap<Time, SearchJob> by_due_;  // equal times keep their order of arrival
};
