#include "import/radio.h"

#include <malloc.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/log.h"
#include "core/settings.h"
#include "core/settings_table.h"
#include "core/str.h"
#include "core/text_buffer.h"
#include "core/thread.h"
#include "core/xml.h"
#include "core/xml_escape.h"
#include "db/add_item.h"
#include "db/objects.h"
#include "db/tree.h"
#include "db/upkeep.h"
#include "meta/genres.h"
#include "net/client.h"

namespace {

// The environment may name another directory that answers the same request: "host" or "host:port".
constexpr const char* kDirectoryHost = "www.shoutcast.com";
constexpr const char* kDirectoryVariable = "PELORAMA_RADIO_HOST";
constexpr const char* kRequest = "http://%s/sbin/xmllister.phtml?limit=%d&service=winamp2&no_compress=1";

constexpr std::int32_t kDefaultStations = 50;
constexpr std::int32_t kDefaultMinutes = 60;
constexpr std::int64_t kMinuteMs = 60'000;
constexpr std::int64_t kLongestWaitMs = 15 * kMinuteMs;
constexpr std::int64_t kSliceMs = 100;

constexpr std::string_view kNoConnection = "<no connection to shoutcast>";
constexpr std::string_view kNoStream = "http://no-connection.mp3";

// After an answer of this size it is worth returning freed memory to the system.
constexpr std::size_t kLargeAnswerBytes = 256 * 1024;

std::int32_t int_or(Setting setting, std::int32_t otherwise) {
    return settings_get(setting) ? settings_get_int(setting) : otherwise;
}

bool goes_on(const RunningFlag* running) {
    return running == nullptr || running->running();
}

std::string directory_url() {
    const char* const chosen = std::getenv(kDirectoryVariable);
    return text_format(1024, kRequest, chosen != nullptr && *chosen != '\0' ? chosen : kDirectoryHost,
                       int_or(Setting::numradiostations, kDefaultStations));
}

struct Fetch {
    std::mutex mutex;
    std::condition_variable changed;
    bool finished = false;
    std::optional<TextBuffer> answer;
};

// Returns the directory's answer. A DNS look-up may block much longer than the server may take to stop, so a thread of
// its own does it, and nobody waits for that thread once the flag has stopped running.
std::optional<TextBuffer> fetch(const std::string& url, const RunningFlag* running) {
    const auto shared = std::make_shared<Fetch>();
    const bool started = thread_start_detached([shared, url] {
        auto answer = http_talk(TalkMode::get, url);
        std::scoped_lock lock{shared->mutex};
        shared->answer = std::move(answer);
        shared->finished = true;
        shared->changed.notify_all();
    });
    if (!started) return std::nullopt;
    std::unique_lock lock{shared->mutex};
    while (!shared->finished && goes_on(running)) {
        shared->changed.wait_for(lock, std::chrono::milliseconds{kSliceMs});
    }
    return std::move(shared->answer);
}

// One is enough, however often the directory cannot be reached.
void add_placeholder() {
    {
        const StoreLock lock;
        const MediaContainer* const radio = store(lock).internet_radio;
        if (radio != nullptr && tree_find_child_container(lock, kNoConnection, *radio) != nullptr) return;
    }
    db_add_item({.title = std::string{kNoConnection},
                 .media_class = ObjectClass::audio_broadcast,
                 .genre = std::string{kNoConnection},
                 .path = std::string{kNoStream}});
}

// An entry that names no "http://" stream gets no path, and the store refuses it. Any other path would be a file of
// this machine.
NewItem station_of(const XmlNode& entry) {
    const auto child_text = [&](std::string_view name) {
        const XmlNode* const child = xml_find_below(&entry, name);
        return child != nullptr ? child->text : std::nullopt;
    };
    // The reader leaves attributes as they are written; a URL with several parameters is written with entities.
    std::string url = xml_unescape(text_or_empty(xml_get_attribute(&entry, "Playstring")));
    return {.title = child_text("Name"),
            .media_class = ObjectClass::audio_broadcast,
            .artist = child_text("Nowplaying"),
            .album = child_text("Listeners"),
            .genre = radio_genre_name(text_or_empty(child_text("Genre"))),
            .path = url.starts_with("http://") ? Text{std::move(url)} : std::nullopt,
            .bitrate = text_int(text_or_empty(child_text("Bitrate")))};
}

void add_stations(const std::vector<NewItem>& stations, const RunningFlag* running) {
    std::size_t added = 0;
    for (const NewItem& station : stations) {
        if (!goes_on(running)) return;
        const AddResult result = db_add_item(station);
        if (result == AddResult::added) ++added;
        if (result == AddResult::failed)
            log_message(LOG_PROBLEM, LOG_DB, "failed to add station: %s\n",
                        station.title ? station.title->c_str() : "");
    }
    log_message(LOG_INFO, LOG_DB, "radio stations: %zu of %zu added\n", added, stations.size());
}

void wait_for_flag(const RunningFlag& running, const RunningFlag* watched) {
    for (std::int64_t waited = 0; waited < kLongestWaitMs; waited += kSliceMs) {
        if (watched == nullptr || !watched->running() || !running.running()) return;
        sleep_ms(kSliceMs);
    }
}

}  // namespace

void radio_start(RunningFlag& running, const RunningFlag* watched) {
    thread_start_flagged(running, [&running, watched] { radio_thread(running, watched); });
}

void radio_thread(RunningFlag& running, const RunningFlag* watched) {
    const std::int64_t minutes = int_or(Setting::radioreread, kDefaultMinutes);
    if (!settings_get_bool(Setting::radio)) return;
    wait_for_flag(running, watched);
    if (running.running()) radio_read_stations(&running);
    while (minutes > 0 && sleep_while_running(running, minutes * kMinuteMs, kSliceMs)) radio_read_stations(&running);
}

void radio_read_stations(const RunningFlag* running) {
    const auto answer = fetch(directory_url(), running);
    if (!goes_on(running)) return;
    if (!answer || answer->length() == 0) {
        log_message(LOG_PROBLEM, LOG_DB, "can not connect to shoutcast webpage!");
        return add_placeholder();
    }
    const std::vector<NewItem> stations = radio_parse_stations(answer->text());
    if (stations.empty()) log_message(LOG_PROBLEM, LOG_DB, "the station directory lists no stations\n");
    db_clear_radio();
    add_stations(stations, running);
    if (answer->length() > kLargeAnswerBytes) malloc_trim(0);
}

std::string radio_genre_name(std::string_view genre) {
    for (std::int32_t number = 0; const Text name = id3_genre_name(number); ++number) {
        if (str_contains_nocase(genre, *name)) return *name;
    }
    return "Other";
}

std::vector<NewItem> radio_parse_stations(std::string_view document) {
    // A parsed document is many times as large as its text. More than ten thousand stations fit into this.
    constexpr std::size_t kMostBytes = 4 * 1024 * 1024;
    if (document.size() > kMostBytes) {
        document = document.substr(0, kMostBytes);
        document = document.substr(0, document.rfind("<entry"));  // which may be cut
    }
    std::vector<NewItem> stations;
    const auto root = xml_parse(document);
    for (const XmlNode* entry = xml_find(root.get(), "entry"); entry != nullptr && stations.size() < kMaxStations;
         entry = xml_find_next(entry, "entry")) {
        stations.push_back(station_of(*entry));
    }
    return stations;
}
