#include "upnp/msearch.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "core/str.h"
#include "upnp/client_profile.h"

namespace {

constexpr unsigned kDefaultMaxWait = 5;
constexpr std::int64_t kLongestMaxWait = 120;

// The MX line may be missing: the search then counts as one of 5 seconds.
bool is_search(std::string_view packet) {
    return str_contains_nocase(packet, "M-SEARCH") && str_contains(packet, "*") && str_contains(packet, "HTTP/1.1") &&
           str_contains_nocase(packet, "\nHOST") && str_contains_nocase(packet, "\nST") &&
           str_contains_nocase(packet, "\nMAN");
}

// The word after the first line start that fits, up to a blank or control character; nullopt without such a line.
std::optional<std::string_view> word_after(std::string_view packet, std::string_view line_start) {
    const auto rest = str_after_nocase(packet, line_start);
    if (!rest) return std::nullopt;
    const std::string_view value = str_trim_left(*rest);
    const auto end = std::ranges::find_if(value, [](char c) { return static_cast<unsigned char>(c) <= 32; });
    return value.substr(0, static_cast<std::size_t>(end - value.begin()));
}

unsigned max_wait_of(std::string_view packet) {
    const auto word = word_after(packet, "\nMX:");
    if (!word) return kDefaultMaxWait;
    return static_cast<unsigned>(std::clamp<std::int64_t>(text_int64(*word), 1, kLongestMaxWait));
}

}  // namespace

std::optional<SearchRequest> msearch_parse(std::string_view packet) {
    packet = packet.substr(0, kMaxPacketBytes);
    packet = packet.substr(0, packet.find('\0'));
    if (!is_search(packet)) return std::nullopt;

    SearchRequest request;
    request.target = word_after(packet, "\nST:").value_or("").substr(0, kMaxTargetBytes);
    request.max_wait = max_wait_of(packet);
    for (const ClientProfile& profile : client_profiles()) {
        const std::string_view mark = profile.search_mark;
        if (!mark.empty() && str_contains(packet, mark)) request.senders.push_back(profile.kind);
    }
    return request;
}

unsigned msearch_delay(unsigned random_number, unsigned max_wait) {
    return (random_number & 0xffff) % max_wait;
}
