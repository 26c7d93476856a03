#include "upnp/msearch.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "core/str.h"

namespace {

constexpr unsigned kDefaultMaxWait = 5;
constexpr std::int64_t kLongestMaxWait = 120;

// Letter case matters here: clients write these as they stand.
struct ClientRow {
    std::string_view mark;
    ClientKind kind;
};
constexpr auto kClients = std::to_array<ClientRow>({
    {"Netgear MP101", ClientKind::netgear_mp101},
    {"MYNAME: \"D2730\"", ClientKind::go_video_d2730},
});

// A MX line is not asked for: a search without one is answered as if it had waited for 5 seconds.
bool is_search(std::string_view packet) {
    return str_contains_nocase(packet, "M-SEARCH") && str_contains(packet, "*") && str_contains(packet, "HTTP/1.1") &&
           str_contains_nocase(packet, "\nHOST") && str_contains_nocase(packet, "\nST") &&
           str_contains_nocase(packet, "\nMAN");
}

// What stands behind the first line start that fits, up to the next blank or control character; missing without such a
// line.
std::optional<std::string_view> word_behind(std::string_view packet, std::string_view line_start) {
    const std::size_t found = str_find_nocase(packet, line_start);
    if (found == std::string_view::npos) return std::nullopt;
    const std::string_view value = str_trim_left(packet.substr(found + line_start.size()));
    const auto end = std::ranges::find_if(value, [](char c) { return static_cast<unsigned char>(c) <= 32; });
    return value.substr(0, static_cast<std::size_t>(end - value.begin()));
}

unsigned max_wait_of(std::string_view packet) {
    const auto word = word_behind(packet, "\nMX:");
    if (!word) return kDefaultMaxWait;
    return static_cast<unsigned>(std::clamp<std::int64_t>(text_int64(*word), 1, kLongestMaxWait));
}

}  // namespace

std::optional<SearchRequest> msearch_parse(std::string_view packet) {
    packet = packet.substr(0, kMaxPacketBytes);
    packet = packet.substr(0, packet.find('\0'));
    if (!is_search(packet)) return std::nullopt;

    SearchRequest request;
    request.target = word_behind(packet, "\nST:").value_or("").substr(0, kMaxTargetBytes);
    request.max_wait = max_wait_of(packet);
    for (const ClientRow& row : kClients) {
        if (str_contains(packet, row.mark)) request.senders.push_back(row.kind);
    }
    return request;
}

unsigned msearch_delay(unsigned random_number, unsigned max_wait) {
    return (random_number & 0xffff) % max_wait;
}
