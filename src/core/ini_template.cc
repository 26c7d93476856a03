#include "core/ini_template.h"

#include <array>

namespace {

constexpr std::string_view kHead =
    "# Pelorama ini file\n"
    "# change settings by commandline or by editing this file\n";

// This file is read by people and, through print_usage, the console: an "=" starts the explanation there, so a
// line has one at most.
constexpr auto kGroups = std::to_array<IniGroup>({
    {"# param -enableweb [n] = set to 0 to disable web configuration, 1 for local access only and 2 for public "
     "access.\n",
     Setting::enableweb},
    {"# MediaServer only!\n"
     "# param -contentdir [dir,dir,...] = comma separated list of directories to scan for content, default is the "
     "current working directory\n"
     "# prepend M|, P| or V| to a directory to scan it for music, pictures or videos only\n",
     Setting::contentdir},
    {"# param -friendlyname [name] = display name of the server, leave empty for the built-in default\n",
     Setting::friendlyname},
    {"# param -adaptcase [n] = set to 1 to enable case adaptation of title strings, 0 to disable it\n",
     Setting::adaptcase},
    {"# param -randomizeplaylists [n] = set to 1 to randomize imported .m3u playlists\n", Setting::randomizeplaylists},
    {"# MediaServer only!\n"
     "# param -radio [n] = set to 1 to enable internet radio, 0 to disable it\n",
     Setting::radio},
    {"# param -numradiostations [n] = number of top stations to read from the radio directory service\n",
     Setting::numradiostations},
    {"# param -radioreread [n] = minutes between rereads of the radio station list\n", Setting::radioreread},
    {"# MediaServer only!\n"
     "# param -dbfile [file] = file that keeps the content database between two runs, empty for none\n",
     Setting::dbfile},
    {"# param -externaldbfile [file] = file that holds an externally produced content database\n",
     Setting::externaldbfile},
    {"# param -ignoredir [dir,dir,...] = comma separated list of directories or parts of their names to skip in "
     "scans\n",
     Setting::ignoredir},
    {"# param -compilationsdir [dir,dir,...] = comma separated list of directories or parts of their names whose music "
     "is "
     "treated as compilations\n",
     Setting::compilationsdir},
    {"# param -nicrestart [n] = set to 1 to restart on any network interface change, no effect on this platform\n",
     Setting::nicrestart},
    {"# param -httpport [n] = set port for http server, 0 for dynamicall port allocation\n", Setting::httpport},
    {"# param -playlistnumentries [n] = number of entries of the auto-generated playlists, 0 disables them\n",
     Setting::playlistnumentries},
    {"# param -ip [address] = the one IP address to serve on, empty for all network interfaces\n", Setting::ip},
    {"# param -dev [name] = network device to serve on, instead of an IP address\n", Setting::dev},
    {"# param -musicclient [address,address,...] = comma separated list of IP addresses of music only clients, they "
     "start "
     "in the music folder\n",
     Setting::musicclient},
    {"# param -dlinkclient [address,address,...] = comma separated list of IP addresses of D-Link clients, where "
     "autodetection fails\n",
     Setting::dlinkclient},
    {"# param -nosearch [n] = set to 1 to suppress search support\n", Setting::nosearch},
    {"# param -norescale [n] = set to 1 to suppress picture rescaling\n", Setting::norescale},
    {"# param -videoi [file] = path of the executable of the D-Link server software that enables fast forward and "
     "rewind of "
     "videos on D-Link clients\n",
     Setting::videoi},
    {"# param -idxdir [dir] = directory where .idx index files for D-Link clients are created\n", Setting::idxdir},
    {"# param -noxonclient [address,address,...] = comma separated list of IP addresses of Noxon clients, where "
     "autodetection fails\n",
     Setting::noxonclient},
    {"# param -scantime [n] = minutes between rescans of the content directories\n", Setting::scantime},
    {"# set the sort strings to a comma separated list of properties\n"
     "# prepend each propertie with + for ascending sort or - for descending sort\n"
     "# properties are\n"
     "# dc:title,dc:creator,upnp:artist,upnp:genre,upnp:album,dc:date,upnp:originalTrackNumber\n"
     "# param -ds [sort] = default sort string for containers\n",
     Setting::ds},
    {"# param -ms [sort] = default sort string for containers with music\n", Setting::ms},
    {"# param -ps [sort] = default sort string for containers with pictures\n", Setting::ps},
    {"# param -descriptions [n] = set to 1 to render the EXIF description into served JPEG pictures\n",
     Setting::descriptions},
    {"# param -adobedsn [name] = ODBC data source name of an Adobe Photoshop Album catalogue (Windows only)\n",
     Setting::adobedsn},
    {"# param -adobepath [file] = full path of the Adobe Photoshop Album catalogue file (Windows only)\n",
     Setting::adobepath},
    {"# param -ituneslib [file] = fully qualified iTunes XML library file\n", Setting::ituneslib},
    {"# param -ipoddb [file] = fully qualified iPod database file\n", Setting::ipoddb},
    {"# param -winamp [dir] = directory where Winamp is installed\n", Setting::winamp},
    {"# MediaServer only!\n"
     "# names of the folders, where a folder is not mandatory an empty name leaves it out\n"
     "# param -alltracks [name] = name of the All Tracks folder, mandatory\n",
     Setting::alltracks},
    {"# param -playlists [name] = name of the Playlists folder\n", Setting::playlists},
    {"# param -playlistlastplayed [name] = name of the auto playlist of the last played titles\n",
     Setting::playlistlastplayed},
    {"# param -playlistmostplayed [name] = name of the auto playlist of the most played titles\n",
     Setting::playlistmostplayed},
    {"# param -internetradio [name] = name of the Internet Radio folder\n", Setting::internetradio},
    {"# param -allownradiostations [name] = name of the radio favourites folder, mandatory\n",
     Setting::allownradiostations},
    {"# param -allpictures [name] = name of the All Pictures folder, mandatory\n", Setting::allpictures},
    {"# param -allvideos [name] = name of the All Videos folder, mandatory\n", Setting::allvideos},
    {"# param -rootmusic [name] = name of the root music folder\n", Setting::rootmusic},
    {"# param -rootpicture [name] = name of the root picture folder\n", Setting::rootpicture},
    {"# param -rootvideo [name] = name of the root video folder\n", Setting::rootvideo},
    {"# param -insertgif [file] = GIF file that is inserted into displayed pictures\n", Setting::insertgif},
    {"# MediaServer only!\n"
     "# param -netgearupgrade [dir] = directory that holds Netgear firmware upgrade files, fixes the http port to "
     "3640\n",
     Setting::netgearupgrade},
    {"# the nodes are a folder name and the levels below it, separated by commas\n"
     "# levels are\n"
     "# %ARTIST %GENRE %ALBUM %YEAR %MONTH %DAY %PATH, [n]%ARTIST groups by n letters\n"
     "# param -musicnode[n] = string to specify music node [n]\n",
     Setting::musicnode1, 10},
    {"# param -picturenode[n] = string to specify picture node [n]\n", Setting::picturenode1, 5},
    {"# param -videonode[n] = string to specify video node [n]\n", Setting::videonode1, 5},
    {"# param -musicbuffer [n] set the buffer to send music content\n", Setting::musicbuffer},
    {"# param -picturebuffer [n] set the buffer to send picture content\n", Setting::picturebuffer},
    {"# param -videobuffer [n] set the buffer to send video content\n", Setting::videobuffer},
});

constexpr int documented_settings() {
    int total = 0;
    for (const IniGroup& group : kGroups) total += group.count;
    return total;
}
static_assert(documented_settings() == 70, "ten of the eighty settings are never written");

}  // namespace

std::string_view ini_head() {
    return kHead;
}

std::span<const IniGroup> ini_groups() {
    return kGroups;
}
