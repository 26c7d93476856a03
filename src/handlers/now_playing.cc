#include "handlers/now_playing.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "core/process_wide.h"
#include "core/str.h"
#include "db/objects.h"
#include "db/store.h"
#include "http/request.h"
#include "http/respond.h"
#include "upnp/announcement.h"

namespace {

constexpr std::size_t kMaxEntries = 10;
constexpr std::size_t kPeerCharacters = 20;

struct NowPlaying {
    std::string peer;
    ObjectId object_id = kNoObject;
    std::int64_t position = 0;  // bytes
};
struct NowPlayingTable {
    std::mutex mutex;
    std::vector<NowPlaying> entries;  // in the order of first appearance; at most kMaxEntries, only ever grows
};
NowPlayingTable& table() {
    return process_wide<NowPlayingTable>();
}

std::vector<NowPlaying> snapshot() {
    std::scoped_lock lock{table().mutex};
    return table().entries;
}

std::string now_playing_page() {
    std::string page = "playing<br>\n";
    // Titles and artists come from tags, so they are escaped.
    for (const NowPlaying& entry : snapshot()) {
        page.append(html_escape(entry.peer)).append("\t");
        page.append(html_escape(db_now_playing_line(entry.object_id, entry.position))).append("\t<br>\n");
    }
    return page;
}

}  // namespace

HandlerResult handle_rpc(const HttpRequest& request, HttpResponse& response) {
    response.extra_headers += "Expires: 0\r\nPragma: no-cache\r\n";
    if (str_contains(request.url, "playing")) return http_send_text(request, response, kHtmlType, now_playing_page());
    if (str_contains(request.url, "mode?stealth")) {
        set_announcement_mode(AnnouncementMode::silent);
        return http_send_text(request, response, kHtmlType, "SSDP disabled. MediaServer in stealth mode!\n");
    }
    if (str_contains(request.url, "mode?alive")) {
        set_announcement_mode(AnnouncementMode::announcing);
        return http_send_text(request, response, kHtmlType, "SSDP enabled. MediaServer alive!\n");
    }
    return http_send_not_found(request, response);
}

void now_playing_update(std::string_view peer, ObjectId object_id, std::int64_t position) {
    peer = str_left(peer, kPeerCharacters);
    std::scoped_lock lock{table().mutex};
    auto& entries = table().entries;
    const auto known = std::ranges::find(entries, peer, &NowPlaying::peer);
    if (known != entries.end()) {
        known->object_id = object_id;
        known->position = position;
    } else if (entries.size() < kMaxEntries) {
        entries.push_back({.peer = std::string{peer}, .object_id = object_id, .position = position});
    }
}
