// The one table of settings. Defaults, the reading of the ini file and of the command line, the written ini file and
// the usage text are all derived from its rows; the manual page and the configuration pages are printed from it too.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

// In the order of the table. Enumerators are named like the keys, except for keys of one or two letters.
enum class Setting : std::uint8_t {
    enableweb,
    contentdir,
    friendlyname,
    adaptcase,
    randomizeplaylists,
    radio,
    numradiostations,
    radioreread,
    dbfile,
    externaldbfile,
    ignoredir,
    compilationsdir,
    nicrestart,
    httpport,
    playlistnumentries,
    ip,
    dev,
    musicclient,
    dlinkclient,
    nosearch,
    norescale,
    videoi,
    idxdir,
    noxonclient,
    scantime,
    container_sort,
    music_sort,
    picture_sort,
    descriptions,
    adobedsn,
    adobepath,
    ituneslib,
    ipoddb,
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
    insertgif,
    netgearupgrade,
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
    log_categories,
    daemon,
    tiniurl,
    tiniimageurl,
    stpport,
    phpaddr,
    h2haddr,
    getaddr,
    h2hid,
    followmeserver,
};
constexpr std::size_t kSettingCount = static_cast<std::size_t>(Setting::followmeserver) + 1;

// One of the numbered view settings, counted from 1: setting_of(Setting::musicnode1, 3) is musicnode3.
constexpr Setting setting_of(Setting first, int number) {
    return static_cast<Setting>(static_cast<int>(first) + number - 1);
}

enum class SettingKind : std::uint8_t {
    text,
    number,  // a leading integer
    on_off,  // 0 or 1
    file,
    directory,
    // From here on lists, split at their commas:
    list,
    directories,  // each may begin with "M|", "P|" or "V|"
    sort,         // properties, each with "+" or "-" before it
    view,         // a folder name and the levels below it
};

// Groups of settings as people think of them.
enum class Section : std::uint8_t {
    general,
    library,  // which files are served, and what is kept of them
    music,
    pictures,
    videos,
    radio,
    network,
    clients,
    imports,
    names,  // of the fixed folders
    views,
    // From here on accepted in the ini file and on the command line, but never written to the file:
    this_run,  // how this one process runs
    reserved,  // without a meaning
};

// When a changed value begins to count.
enum class SettingEffect : std::uint8_t {
    at_once,     // with the next request or pass of the scanner
    at_restart,  // for some only in part before that: items in the store stay as they were added
    no_effect,   // the value is kept, but nothing in this program depends on it
};

struct SettingSpec {
    Setting id;
    std::string_view key;
    SettingKind kind;
    Section section;
    SettingEffect effect;
    std::string_view initial = {};  // empty: not set
    // "-httpport [n]". Of numbered settings only the first has an option and an explanation, which are for all of them.
    std::string_view option = {};
    std::string_view explanation = {};
    // Comment lines of the ini file before and after the option's line, without their "# ".
    std::string_view above = {};
    std::string_view below = {};
    std::string_view between = " = ";  // option and explanation

    constexpr bool is_list() const { return kind >= SettingKind::list; }
    constexpr bool is_written() const { return section < Section::this_run; }
};

// Indexed by Setting, which is also the order of the ini file and of the usage text.
std::span<const SettingSpec, kSettingCount> settings_table();
