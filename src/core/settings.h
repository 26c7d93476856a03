// The settings: one process-wide table of 80 keyed texts. Defaults, the ini file and the command line fill it at start;
// the configuration site may change values while others read them, so each value is an immutable snapshot that readers
// share. Numbers are read from the text with leading-integer rules ("15 minutes" is 15, "many" is 0).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/str.h"

// In the table's order; a setting's number is its position.
enum class Setting : std::uint8_t {
    enableweb,
    descriptions,
    radio,
    ds,
    ms,
    ps,
    contentdir,
    friendlyname,
    adaptcase,
    randomizeplaylists,
    ip,
    nicrestart,
    dev,
    tiniurl,
    tiniimageurl,
    v,
    numradiostations,
    radioreread,
    dbfile,
    externaldbfile,
    ignoredir,
    compilationsdir,
    musicclient,
    dlinkclient,
    nosearch,
    norescale,
    videoi,
    idxdir,
    noxonclient,
    stpport,
    phpaddr,
    h2haddr,
    getaddr,
    h2hid,
    adobedsn,
    adobepath,
    ituneslib,
    ipoddb,
    insertgif,
    scantime,
    D,
    netgearupgrade,
    httpport,
    playlistnumentries,
    winamp,
    alltracks,
    playlists,
    playlistlastplayed,
    playlistmostplayed,
    internetradio,
    allownradiostations,
    allpictures,
    allvideos,
    rootmusic,
    rootpicture,
    rootvideo,
    musicnode1,
    musicnode2,
    musicnode3,
    musicnode4,
    musicnode5,
    musicnode6,
    musicnode7,
    musicnode8,
    musicnode9,
    musicnode10,
    picturenode1,
    picturenode2,
    picturenode3,
    picturenode4,
    picturenode5,
    videonode1,
    videonode2,
    videonode3,
    videonode4,
    videonode5,
    musicbuffer,
    picturebuffer,
    videobuffer,
    followmeserver,
};
constexpr std::size_t kSettingCount = 80;

// The numbered view settings: 1-based, musicnode1 is setting_of(Setting::musicnode1, 1).
constexpr Setting setting_of(Setting first, int number) {
    return static_cast<Setting>(static_cast<int>(first) + number - 1);
}

using SettingList = std::vector<std::string>;

// Stores a copy of text; an empty text unsets the setting. A list setting is split at its commas at once, blanks and
// empty items kept.
void settings_set(Setting setting, std::string_view text);
// Finds the key without regard to case; an unknown key is ignored, and false.
bool settings_set_by_key(std::string_view key, std::string_view text);
// Every setting to its built-in default.
void settings_set_defaults();

Text settings_get(Setting setting);
std::int32_t settings_get_int(Setting setting);
bool settings_get_bool(Setting setting);
// The items of a list setting; empty when it is not set. Never null, and never changed after it was handed out.
std::shared_ptr<const SettingList> settings_list(Setting setting);
std::string_view settings_key(Setting setting);

// Unsets everything; the shutdown and the tests.
void settings_free_all();
