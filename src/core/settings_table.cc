#include "core/settings_table.h"

#include <array>
#include <cstddef>
#include <span>

namespace {

using enum SettingKind;
using enum SettingEffect;

// Columns: number, key, kind, section, effect of a change, default; option, explanation, comment lines before and
// after. An explanation has no "=", because the usage text breaks the line there. The misspelt words are kept on
// purpose.
constexpr auto kSettings = std::to_array<SettingSpec>({
    {Setting::enableweb, "enableweb", number, Section::general, no_effect, "1", "-enableweb [n]",
     "set to 0 to disable web configuration, 1 for local access only and 2 for public access."},
    {Setting::contentdir, "contentdir", directories, Section::library, at_restart, "", "-contentdir [dir,dir,...]",
     "comma separated list of directories to scan for content, default is the current working directory",
     "MediaServer only!", "prepend M|, P| or V| to a directory to scan it for music, pictures or videos only"},
    {Setting::friendlyname, "friendlyname", text, Section::general, at_restart, "", "-friendlyname [name]",
     "display name of the server, leave empty for the built-in default"},
    {Setting::adaptcase, "adaptcase", on_off, Section::library, at_restart, "1", "-adaptcase [n]",
     "set to 1 to enable case adaptation of title strings, 0 to disable it"},
    {Setting::randomizeplaylists, "randomizeplaylists", on_off, Section::music, at_once, "", "-randomizeplaylists [n]",
     "set to 1 to randomize imported .m3u playlists"},
    {Setting::radio, "radio", on_off, Section::radio, at_restart, "1", "-radio [n]",
     "set to 1 to enable internet radio, 0 to disable it", "MediaServer only!"},
    {Setting::numradiostations, "numradiostations", number, Section::radio, at_once, "50", "-numradiostations [n]",
     "number of top stations to read from the radio directory service"},
    {Setting::radioreread, "radioreread", number, Section::radio, at_restart, "60", "-radioreread [n]",
     "minutes between rereads of the radio station list"},
    {Setting::dbfile, "dbfile", file, Section::library, at_restart, "", "-dbfile [file]",
     "file that keeps the content database between two runs, empty for none", "MediaServer only!"},
    {Setting::externaldbfile, "externaldbfile", file, Section::library, at_restart, "", "-externaldbfile [file]",
     "file that holds an externally produced content database"},
    {Setting::ignoredir, "ignoredir", list, Section::library, at_restart, "AppleDouble", "-ignoredir [dir,dir,...]",
     "comma separated list of directories or parts of their names to skip in scans"},
    {Setting::compilationsdir, "compilationsdir", list, Section::music, at_restart, "Compilations,Sampler",
     "-compilationsdir [dir,dir,...]",
     "comma separated list of directories or parts of their names whose music is treated as compilations"},
    {Setting::nicrestart, "nicrestart", on_off, Section::network, no_effect, "0", "-nicrestart [n]",
     "set to 1 to restart on any network interface change, no effect on this platform"},
    {Setting::httpport, "httpport", number, Section::network, at_restart, "0", "-httpport [n]",
     "set port for http server, 0 for dynamicall port allocation"},
    {Setting::playlistnumentries, "playlistnumentries", number, Section::music, at_restart, "10",
     "-playlistnumentries [n]", "number of entries of the auto-generated playlists, 0 disables them"},
    {Setting::ip, "ip", text, Section::network, at_restart, "", "-ip [address]",
     "the one IP address to serve on, empty for all network interfaces"},
    {Setting::dev, "dev", text, Section::network, no_effect, "", "-dev [name]",
     "network device to serve on, instead of an IP address"},
    {Setting::musicclient, "musicclient", list, Section::clients, at_once, "", "-musicclient [address,address,...]",
     "comma separated list of IP addresses of music only clients, they start in the music folder"},
    {Setting::dlinkclient, "dlinkclient", list, Section::clients, at_restart, "", "-dlinkclient [address,address,...]",
     "comma separated list of IP addresses of D-Link clients, where autodetection fails"},
    {Setting::nosearch, "nosearch", on_off, Section::clients, at_once, "0", "-nosearch [n]",
     "set to 1 to suppress search support"},
    {Setting::norescale, "norescale", on_off, Section::pictures, at_once, "0", "-norescale [n]",
     "set to 1 to suppress picture rescaling"},
    {Setting::videoi, "videoi", file, Section::videos, no_effect, "", "-videoi [file]",
     "path of the executable of the D-Link server software that enables fast forward and rewind of videos on "
     "D-Link clients, no effect on this platform"},
    {Setting::idxdir, "idxdir", directory, Section::videos, at_once, "", "-idxdir [dir]",
     "directory where .idx index files for D-Link clients are created"},
    {Setting::noxonclient, "noxonclient", list, Section::clients, at_restart, "", "-noxonclient [address,address,...]",
     "comma separated list of IP addresses of Noxon clients, where autodetection fails"},
    {Setting::scantime, "scantime", number, Section::library, at_restart, "15", "-scantime [n]",
     "minutes between rescans of the content directories"},
    {Setting::container_sort, "ds", sort, Section::library, at_once, "+dc:title,+dc:date", "-ds [sort]",
     "default sort string for containers",
     "set the sort strings to a comma separated list of properties\n"
     "prepend each propertie with + for ascending sort or - for descending sort\n"
     "properties are\n"
     "dc:title,dc:creator,upnp:artist,upnp:genre,upnp:album,dc:date,upnp:originalTrackNumber"},
    {Setting::music_sort, "ms", sort, Section::music, at_once, "+upnp:originalTrackNumber,+dc:title", "-ms [sort]",
     "default sort string for containers with music"},
    {Setting::picture_sort, "ps", sort, Section::pictures, at_once, "+dc:date,+dc:title", "-ps [sort]",
     "default sort string for containers with pictures"},
    {Setting::descriptions, "descriptions", on_off, Section::pictures, no_effect, "0", "-descriptions [n]",
     "set to 1 to render the EXIF description into served JPEG pictures, no effect in this version"},
    {Setting::adobedsn, "adobedsn", text, Section::imports, at_restart, "", "-adobedsn [name]",
     "ODBC data source name of an Adobe Photoshop Album catalogue (Windows only)"},
    {Setting::adobepath, "adobepath", file, Section::imports, no_effect, "", "-adobepath [file]",
     "full path of the Adobe Photoshop Album catalogue file (Windows only)"},
    {Setting::ituneslib, "ituneslib", file, Section::imports, at_restart, "", "-ituneslib [file]",
     "fully qualified iTunes XML library file"},
    {Setting::ipoddb, "ipoddb", file, Section::imports, at_restart, "", "-ipoddb [file]",
     "fully qualified iPod database file"},
    {Setting::winamp, "winamp", directory, Section::imports, no_effect, "", "-winamp [dir]",
     "directory where Winamp is installed, no effect on this platform"},
    {Setting::alltracks, "alltracks", text, Section::names, at_restart, "All Tracks", "-alltracks [name]",
     "name of the All Tracks folder, mandatory",
     "MediaServer only!\n"
     "names of the folders, where a folder is not mandatory an empty name leaves it out"},
    {Setting::playlists, "playlists", text, Section::names, at_restart, "Playlists", "-playlists [name]",
     "name of the Playlists folder"},
    {Setting::playlistlastplayed, "playlistlastplayed", text, Section::names, at_restart, "- Last Played -",
     "-playlistlastplayed [name]", "name of the auto playlist of the last played titles"},
    {Setting::playlistmostplayed, "playlistmostplayed", text, Section::names, at_restart, "- Most Played -",
     "-playlistmostplayed [name]", "name of the auto playlist of the most played titles"},
    {Setting::internetradio, "internetradio", text, Section::names, at_restart, "Internet Radio",
     "-internetradio [name]", "name of the Internet Radio folder"},
    {Setting::allownradiostations, "allownradiostations", text, Section::names, at_restart, "- Favorites- ",
     "-allownradiostations [name]", "name of the radio favourites folder, mandatory"},
    {Setting::allpictures, "allpictures", text, Section::names, at_restart, "All Pictures", "-allpictures [name]",
     "name of the All Pictures folder, mandatory"},
    {Setting::allvideos, "allvideos", text, Section::names, at_restart, "All Videos", "-allvideos [name]",
     "name of the All Videos folder, mandatory"},
    {Setting::rootmusic, "rootmusic", text, Section::names, at_restart, "Music", "-rootmusic [name]",
     "name of the root music folder"},
    {Setting::rootpicture, "rootpicture", text, Section::names, at_restart, "Pictures", "-rootpicture [name]",
     "name of the root picture folder"},
    {Setting::rootvideo, "rootvideo", text, Section::names, at_restart, "Videos", "-rootvideo [name]",
     "name of the root video folder"},
    {Setting::insertgif, "insertgif", file, Section::pictures, no_effect, "", "-insertgif [file]",
     "GIF file that is inserted into displayed pictures, no effect in this version"},
    {Setting::netgearupgrade, "netgearupgrade", directory, Section::clients, at_restart, "", "-netgearupgrade [dir]",
     "directory that holds Netgear firmware upgrade files, fixes the http port to 3640", "MediaServer only!"},
    {Setting::musicnode1, "musicnode1", view, Section::views, at_restart, "Artists,%ARTIST", "-musicnode[n]",
     "string to specify music node [n]",
     "the nodes are a folder name and the levels below it, separated by commas\n"
     "levels are\n"
     "%ARTIST %GENRE %ALBUM %YEAR %MONTH %DAY %PATH, [n]%ARTIST groups by n letters"},
    {Setting::musicnode2, "musicnode2", view, Section::views, at_restart, "Genres,%GENRE"},
    {Setting::musicnode3, "musicnode3", view, Section::views, at_restart, "Albums,%ALBUM"},
    {Setting::musicnode4, "musicnode4", view, Section::views, at_restart, "Folders,%PATH"},
    {Setting::musicnode5, "musicnode5", view, Section::views, at_restart, "Artists/Albums,%ARTIST,%ALBUM"},
    {Setting::musicnode6, "musicnode6", view, Section::views, at_restart, "Genres/Artists,%GENRE,%ARTIST,%ALBUM"},
    {Setting::musicnode7, "musicnode7", view, Section::views, at_restart, "Year/Albums,%YEAR,%ALBUM"},
    {Setting::musicnode8, "musicnode8", view, Section::views, at_restart, "Year/Artist,%YEAR,%ARTIST,%ALBUM"},
    {Setting::musicnode9, "musicnode9", view, Section::views, at_restart, "Alpha,[3]%ARTIST"},
    {Setting::musicnode10, "musicnode10", view, Section::views, at_restart},
    {Setting::picturenode1, "picturenode1", view, Section::views, at_restart, "Folders,%PATH", "-picturenode[n]",
     "string to specify picture node [n]"},
    {Setting::picturenode2, "picturenode2", view, Section::views, at_restart, "Date,%YEAR,%MONTH,%DAY"},
    {Setting::picturenode3, "picturenode3", view, Section::views, at_restart},
    {Setting::picturenode4, "picturenode4", view, Section::views, at_restart},
    {Setting::picturenode5, "picturenode5", view, Section::views, at_restart},
    {Setting::videonode1, "videonode1", view, Section::views, at_restart, "Folders,%PATH", "-videonode[n]",
     "string to specify video node [n]"},
    {Setting::videonode2, "videonode2", view, Section::views, at_restart},
    {Setting::videonode3, "videonode3", view, Section::views, at_restart},
    {Setting::videonode4, "videonode4", view, Section::views, at_restart},
    {Setting::videonode5, "videonode5", view, Section::views, at_restart},
    // Kept on purpose: the lines of these three have no "=".
    {Setting::musicbuffer, "musicbuffer", number, Section::music, at_once, "1024", "-musicbuffer [n]",
     "set the buffer to send music content", "", "", " "},
    {Setting::picturebuffer, "picturebuffer", number, Section::pictures, at_once, "2048", "-picturebuffer [n]",
     "set the buffer to send picture content", "", "", " "},
    {Setting::videobuffer, "videobuffer", number, Section::videos, at_once, "128000", "-videobuffer [n]",
     "set the buffer to send video content", "", "", " "},
    // Not written to the ini file.
    {Setting::log_categories, "v", number, Section::this_run, at_once, "0", "-v [n]",
     "sum of the log categories whose informational messages are printed"},
    {Setting::daemon, "D", on_off, Section::this_run, at_restart, "", "-D", "run as a daemon"},
    {Setting::tiniurl, "tiniurl", text, Section::reserved, no_effect},
    {Setting::tiniimageurl, "tiniimageurl", text, Section::reserved, no_effect},
    {Setting::stpport, "stpport", number, Section::reserved, no_effect},
    {Setting::phpaddr, "phpaddr", text, Section::reserved, no_effect},
    {Setting::h2haddr, "h2haddr", text, Section::reserved, no_effect},
    {Setting::getaddr, "getaddr", text, Section::reserved, no_effect},
    {Setting::h2hid, "h2hid", text, Section::reserved, no_effect},
    {Setting::followmeserver, "followmeserver", text, Section::reserved, no_effect},
});

constexpr bool is_indexed_by_setting() {
    for (std::size_t i = 0; i < kSettings.size(); ++i)
        if (static_cast<std::size_t>(kSettings[i].id) != i) return false;
    return true;
}
static_assert(is_indexed_by_setting(), "a row stands at the position of its enumerator");

}  // namespace

std::span<const SettingSpec, kSettingCount> settings_table() {
    return kSettings;
}
