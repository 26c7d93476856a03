#include "core/settings.h"

#include <array>
#include <atomic>
#include <mutex>

#include "core/process_wide.h"

namespace {

struct SettingSpec {
    Setting id;
    std::string_view key;
    std::string_view initial = {};  // empty: not set
    bool is_list = false;
};

constexpr auto kSettings = std::to_array<SettingSpec>({
    {.id = Setting::enableweb, .key = "enableweb", .initial = "1"},
    {.id = Setting::descriptions, .key = "descriptions", .initial = "0"},
    {.id = Setting::radio, .key = "radio", .initial = "1"},
    {.id = Setting::ds, .key = "ds", .initial = "+dc:title,+dc:date", .is_list = true},
    {.id = Setting::ms, .key = "ms", .initial = "+upnp:originalTrackNumber,+dc:title", .is_list = true},
    {.id = Setting::ps, .key = "ps", .initial = "+dc:date,+dc:title", .is_list = true},
    {.id = Setting::contentdir, .key = "contentdir", .is_list = true},
    {.id = Setting::friendlyname, .key = "friendlyname"},
    {.id = Setting::adaptcase, .key = "adaptcase", .initial = "1"},
    {.id = Setting::randomizeplaylists, .key = "randomizeplaylists"},
    {.id = Setting::ip, .key = "ip"},
    {.id = Setting::nicrestart, .key = "nicrestart", .initial = "0"},
    {.id = Setting::dev, .key = "dev"},
    {.id = Setting::tiniurl, .key = "tiniurl"},
    {.id = Setting::tiniimageurl, .key = "tiniimageurl"},
    {.id = Setting::v, .key = "v", .initial = "0"},
    {.id = Setting::numradiostations, .key = "numradiostations", .initial = "50"},
    {.id = Setting::radioreread, .key = "radioreread", .initial = "60"},
    {.id = Setting::dbfile, .key = "dbfile"},
    {.id = Setting::externaldbfile, .key = "externaldbfile"},
    {.id = Setting::ignoredir, .key = "ignoredir", .initial = "AppleDouble", .is_list = true},
    {.id = Setting::compilationsdir, .key = "compilationsdir", .initial = "Compilations,Sampler", .is_list = true},
    {.id = Setting::musicclient, .key = "musicclient", .is_list = true},
    {.id = Setting::dlinkclient, .key = "dlinkclient", .is_list = true},
    {.id = Setting::nosearch, .key = "nosearch", .initial = "0"},
    {.id = Setting::norescale, .key = "norescale", .initial = "0"},
    {.id = Setting::videoi, .key = "videoi"},
    {.id = Setting::idxdir, .key = "idxdir"},
    {.id = Setting::noxonclient, .key = "noxonclient", .is_list = true},
    {.id = Setting::stpport, .key = "stpport"},
    {.id = Setting::phpaddr, .key = "phpaddr"},
    {.id = Setting::h2haddr, .key = "h2haddr"},
    {.id = Setting::getaddr, .key = "getaddr"},
    {.id = Setting::h2hid, .key = "h2hid"},
    {.id = Setting::adobedsn, .key = "adobedsn"},
    {.id = Setting::adobepath, .key = "adobepath"},
    {.id = Setting::ituneslib, .key = "ituneslib"},
    {.id = Setting::ipoddb, .key = "ipoddb"},
    {.id = Setting::insertgif, .key = "insertgif"},
    {.id = Setting::scantime, .key = "scantime", .initial = "15"},
    {.id = Setting::D, .key = "D"},
    {.id = Setting::netgearupgrade, .key = "netgearupgrade"},
    {.id = Setting::httpport, .key = "httpport", .initial = "0"},
    {.id = Setting::playlistnumentries, .key = "playlistnumentries", .initial = "10"},
    {.id = Setting::winamp, .key = "winamp"},
    {.id = Setting::alltracks, .key = "alltracks", .initial = "All Tracks"},
    {.id = Setting::playlists, .key = "playlists", .initial = "Playlists"},
    {.id = Setting::playlistlastplayed, .key = "playlistlastplayed", .initial = "- Last Played -"},
    {.id = Setting::playlistmostplayed, .key = "playlistmostplayed", .initial = "- Most Played -"},
    {.id = Setting::internetradio, .key = "internetradio", .initial = "Internet Radio"},
    {.id = Setting::allownradiostations, .key = "allownradiostations", .initial = "- Favorites- "},
    {.id = Setting::allpictures, .key = "allpictures", .initial = "All Pictures"},
    {.id = Setting::allvideos, .key = "allvideos", .initial = "All Videos"},
    {.id = Setting::rootmusic, .key = "rootmusic", .initial = "Music"},
    {.id = Setting::rootpicture, .key = "rootpicture", .initial = "Pictures"},
    {.id = Setting::rootvideo, .key = "rootvideo", .initial = "Videos"},
    {.id = Setting::musicnode1, .key = "musicnode1", .initial = "Artists,%ARTIST", .is_list = true},
    {.id = Setting::musicnode2, .key = "musicnode2", .initial = "Genres,%GENRE", .is_list = true},
    {.id = Setting::musicnode3, .key = "musicnode3", .initial = "Albums,%ALBUM", .is_list = true},
    {.id = Setting::musicnode4, .key = "musicnode4", .initial = "Folders,%PATH", .is_list = true},
    {.id = Setting::musicnode5, .key = "musicnode5", .initial = "Artists/Albums,%ARTIST,%ALBUM", .is_list = true},
    {.id = Setting::musicnode6,
     .key = "musicnode6",
     .initial = "Genres/Artists,%GENRE,%ARTIST,%ALBUM",
     .is_list = true},
    {.id = Setting::musicnode7, .key = "musicnode7", .initial = "Year/Albums,%YEAR,%ALBUM", .is_list = true},
    {.id = Setting::musicnode8, .key = "musicnode8", .initial = "Year/Artist,%YEAR,%ARTIST,%ALBUM", .is_list = true},
    {.id = Setting::musicnode9, .key = "musicnode9", .initial = "Alpha,[3]%ARTIST", .is_list = true},
    {.id = Setting::musicnode10, .key = "musicnode10", .is_list = true},
    {.id = Setting::picturenode1, .key = "picturenode1", .initial = "Folders,%PATH", .is_list = true},
    {.id = Setting::picturenode2, .key = "picturenode2", .initial = "Date,%YEAR,%MONTH,%DAY", .is_list = true},
    {.id = Setting::picturenode3, .key = "picturenode3", .is_list = true},
    {.id = Setting::picturenode4, .key = "picturenode4", .is_list = true},
    {.id = Setting::picturenode5, .key = "picturenode5", .is_list = true},
    {.id = Setting::videonode1, .key = "videonode1", .initial = "Folders,%PATH", .is_list = true},
    {.id = Setting::videonode2, .key = "videonode2", .is_list = true},
    {.id = Setting::videonode3, .key = "videonode3", .is_list = true},
    {.id = Setting::videonode4, .key = "videonode4", .is_list = true},
    {.id = Setting::videonode5, .key = "videonode5", .is_list = true},
    {.id = Setting::musicbuffer, .key = "musicbuffer", .initial = "1024"},
    {.id = Setting::picturebuffer, .key = "picturebuffer", .initial = "2048"},
    {.id = Setting::videobuffer, .key = "videobuffer", .initial = "128000"},
    {.id = Setting::followmeserver, .key = "followmeserver"},
});

constexpr bool settings_in_order() {
    for (std::size_t i = 0; i < kSettings.size(); ++i)
        if (static_cast<std::size_t>(kSettings[i].id) != i) return false;
    return kSettings.size() == kSettingCount;
}
static_assert(settings_in_order(), "the table is indexed by Setting");

struct SettingEntry {
    Text value;
    std::shared_ptr<const SettingList> items = std::make_shared<SettingList>();
    std::atomic<std::int32_t> number{0};  // read by every log line, so without the lock
};

struct SettingTable {
    std::mutex mutex;
    std::array<SettingEntry, kSettingCount> entries;
};

SettingTable& table() {
    return process_wide<SettingTable>();
}

SettingEntry& entry_of(Setting setting) {
    return table().entries[static_cast<std::size_t>(setting)];
}

std::shared_ptr<const SettingList> split_at_commas(std::string_view text) {
    auto items = std::make_shared<SettingList>();
    for (;;) {
        const std::size_t comma = text.find(',');
        items->emplace_back(text.substr(0, comma));
        if (comma == std::string_view::npos) return items;
        text.remove_prefix(comma + 1);
    }
}

}  // namespace

void settings_set(Setting setting, std::string_view text) {
    const bool is_list = kSettings[static_cast<std::size_t>(setting)].is_list;
    auto items = is_list && !text.empty() ? split_at_commas(text) : std::make_shared<const SettingList>();
    SettingEntry& entry = entry_of(setting);
    std::scoped_lock lock{table().mutex};
    entry.value = text.empty() ? Text{} : Text{std::string{text}};
    entry.items = std::move(items);
    entry.number = text_int(text);
}

bool settings_set_by_key(std::string_view key, std::string_view text) {
    for (const SettingSpec& spec : kSettings) {
        if (!str_equal_nocase(spec.key, key)) continue;
        settings_set(spec.id, text);
        return true;
    }
    return false;
}

void settings_set_defaults() {
    for (const SettingSpec& spec : kSettings) settings_set(spec.id, spec.initial);
}

Text settings_get(Setting setting) {
    std::scoped_lock lock{table().mutex};
    return entry_of(setting).value;
}

std::int32_t settings_get_int(Setting setting) {
    return entry_of(setting).number;
}

bool settings_get_bool(Setting setting) {
    return settings_get_int(setting) != 0;
}

std::shared_ptr<const SettingList> settings_list(Setting setting) {
    std::scoped_lock lock{table().mutex};
    return entry_of(setting).items;
}

std::string_view settings_key(Setting setting) {
    return kSettings[static_cast<std::size_t>(setting)].key;
}

void settings_free_all() {
    for (const SettingSpec& spec : kSettings) settings_set(spec.id, {});
}
