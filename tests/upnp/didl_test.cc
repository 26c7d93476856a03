#include "upnp/didl.h"

#include <gmock/gmock.h>

#include <regex>

#include "db/group_facts.h"
#include "db/update.h"
#include "db/upkeep.h"
#include "support/rows.h"
#include "support/store_fixture.h"

using testing::EndsWith;
using testing::HasSubstr;

namespace {

// A text for an answer as it reads once it is unpacked. No bracket in it may be bare.
std::string unpacked(TextBuffer&& text) {
    const std::string packed = std::move(text).take();
    EXPECT_EQ(packed.find_first_of("<>"), std::string::npos) << packed;
    return std::regex_replace(std::regex_replace(packed, std::regex{"&lt;"}, "<"), std::regex{"&gt;"}, ">");
}

class Didl : public StoreFixture {
protected:
    static std::string render(ObjectId id, const Text& filter = std::nullopt, ClientKind kind = ClientKind::generic) {
        TextBuffer text;
        StoreLock lock;
        didl_append_object(lock, text, *tree_object(lock, id), DidlFilter{filter},
                           {.profile = client_profile(kind), .base_url = "~/"});
        return unpacked(std::move(text));
    }
    // What stands between title and class, with the object's number as ID.
    static std::string between(ObjectId id, const Text& filter, ClientKind kind) {
        const std::string text = render(id, filter, kind);
        const std::size_t begin = text.find("</dc:title>") + 11;
        return std::regex_replace(text.substr(begin, text.find("<upnp:class>") - begin),
                                  std::regex{"/" + std::to_string(id) + "(?!\\d)"}, "/ID");
    }
};

TEST_F(Didl, WritesATrackWithEverything) {
    const ObjectId item = add({.title = "Rock & <Roll>",
                               .artist = "A",
                               .album = "B",
                               .genre = "G",
                               .playlist = "P",
                               .date = "1999-12-31",
                               .path = "http://h/x.mp3",
                               .duration = "0:03:25.000",
                               .track = 7,
                               .album_art = 1,
                               .size = 5'000'000'000});
    // In a playlist: its own id, the item's as refID, and its position instead of the track number.
    ASSERT_EQ(db_add_item({.playlist = "Party", .path = "http://h/x.mp3", .track = 3}), AddResult::already_present);
    const ObjectId party = id_of_container({"Music", "Playlists", "Party"}),
                   owner = id_of_container({"Music", "All Tracks"});
    for (const auto& [id, attributes, track] : Rows<ObjectId, std::string, const char*>{
             {item, "parentID=\"" + std::to_string(owner), "7"},
             {party + 1, "refID=\"" + std::to_string(item) + "\" parentID=\"" + std::to_string(party), "3"},
         }) {
        const std::string number = std::to_string(id);
        const std::string expected =
            "<item id=\"" + number + "\" " + attributes + "\" restricted=\"1\">" +
            "<dc:title>Rock &amp;amp; &amp;lt;Roll&amp;gt;</dc:title><dc:creator>A</dc:creator>"
            "<upnp:artist>A</upnp:artist><upnp:album>B</upnp:album><upnp:genre>G</upnp:genre>"
            "<upnp:playlist>P</upnp:playlist><dc:date>1999-12-31</dc:date><upnp:originalTrackNumber>" +
            track +
            "</upnp:originalTrackNumber>"
            "<upnp:albumArtURI dlna:profileID=\"JPEG_TN\" xmlns:dlna=\"urn:schemas-dlna-org:metadata-1-0\">"
            "~/albumart-mp3/" +
            number +
            ".jpg</upnp:albumArtURI>"
            "<res size=\"5000000000\" duration=\"0:03:25.000\" protocolInfo=\"http-get:*:audio/mpeg:*\" >"
            "~/httpproxy/" +
            number + ".mp3</res><upnp:class>object.item.audioItem.musicTrack</upnp:class></item>";
        EXPECT_EQ(render(id), expected);
        EXPECT_EQ(render(id, "*"), expected);
    }
}

TEST_F(Didl, WritesWhatTheFilterNames) {
    const ObjectId item = add({.title = "T", .path = "http://h/x.mp3", .duration = "0:01:00", .size = 9});
    const std::string url = "protocolInfo=\"http-get:*:audio/mpeg:*\" >~/httpproxy/ID.mp3</res>";
    for (const auto& [filter, elements] : Rows<const char*, std::string>{
             {"", ""},
             {"res@size", "<res size=\"9\" " + url},
             {"res@duration", "<res duration=\"0:01:00\" " + url},
             // Named but missing: an empty element, never none.
             {"upnp:album,upnp:albumArtURI", "<upnp:album></upnp:album><upnp:albumArtURI></upnp:albumArtURI>"},
         })
        EXPECT_EQ(between(item, filter, ClientKind::generic), elements) << filter;
}

TEST(DidlFilter, FindsNamesAtTheEndOfAnEntry) {
    for (const auto& [filter, name, expected] : Rows<const char*, const char*, bool>{
             {"dc:title,*", "res", false},
             {"res@size,dc:date", "res", true},
             {"res@size", "size", true},
             {"result", "res", false},
             {"res\xC3\xA4", "res", true},
             {"res!", "res", false},
             {"artistartist", "artist", true},
         })
        EXPECT_EQ(didl_filter_has(Text{filter}, name), expected) << filter;
}

TEST_F(Didl, WritesTheResourceOfEveryMediaType) {
    const ObjectClass movie = ObjectClass::movie, track = ObjectClass::music_track;
    const ClientKind plain = ClientKind::generic, dlna = ClientKind::tv_remote;
    for (const auto& [path, kind, type, resource] : Rows<const char*, ClientKind, ObjectClass, std::string>{
             {"ftp://h/a.mp3", dlna, track, "audio/mpeg:DLNA.ORG_OP=11\" >~/ftpproxy/ID.mp3"},
             {"http://h/a.pcm", plain, track,
              "audio/L16;rate=44100;channels=2:DLNA.ORG_PN=LPCM;DLNA.ORG_OP=11\" >~/httpproxy/ID_DLNA_LPCM.pcm"},
             {"http://h/clip_NTSC.mpg", dlna, movie,
              "video/mpeg:DLNA.ORG_PN=MPEG_PS_NTSC;DLNA.ORG_OP=00\" >~/httpproxy/ID_DLNA_MPEG_PS_NTSC.mpg"},
             {"http://h/clip.mpg", dlna, movie,
              "video/mpeg:DLNA.ORG_PN=MPEG_PS_PAL;DLNA.ORG_OP=00\" >~/httpproxy/ID_DLNA_MPEG_PS_PAL.mpg"},
             {"http://h/ntsc.mpg", plain, movie, "video/mpeg:*\" >~/httpproxy/ID.mpg"},
             {"http://h/clip.avi", dlna, movie, "video/x-msvideo:DLNA.ORG_OP=00\" >~/httpproxy/ID.avi"},
         })
        EXPECT_EQ(between(add({.title = "t", .media_class = type, .path = path}), "res", kind),
                  "<res protocolInfo=\"http-get:*:" + resource + "</res>");
}

TEST_F(Didl, OffersPicturesInTheRenditionsOfTheClient) {
    const ObjectId id =
        add({.title = "P", .media_class = ObjectClass::photo, .path = "http://h/p.jpg", .width = 4000, .height = 3000});
    const auto expect = [id](std::initializer_list<ClientKind> kinds, const std::string& expected) {
        // Of each resource "MIME:profile path of the resolution with what follows it", one a line.
        const std::regex resource{
            "<res resolution=\"(\\d+x\\d+)\" protocolInfo=\"http-get:\\*:image/(\\S+)\">"
            "~/(disk|picture)/ID\\(\\1(\\S+?)</res>"};
        for (const ClientKind kind : kinds)
            EXPECT_EQ(std::regex_replace(between(id, "res", kind), resource, "$2 $3 $1$4\n"), expected);
    };
    using enum ClientKind;
    expect({smc_ez_stream}, "jpeg:* picture 704x528,3).jpg\n");
    expect({dlink_dsm320}, "jpeg:* picture 684x456,3).jpg\n<desc><DA dir=\"0\">~/picture/ID(120x90,1).jpg</DA></desc>");
    expect({go_video_d2730}, "jpeg:* disk 4000x3000,0).jpg\n");
    expect({tv_remote}, "jpeg:* picture 720x576,1).jpg\njpeg:* picture 120x105,1).jpg\n");
    expect({philips_streamium},
           "jpeg:* picture 720x576,1).jpg\njpeg:* picture 1024x768,1).jpg\n"
           "jpeg:* picture 120x105,1).jpg\njpeg:* picture 69x51,1).jpg\n");
    expect({tini}, "jpeg:* picture 320x240,1).tini.jpg\n");
    expect({generic, netgear_mp101, sony, linksys, roku_soundbridge, noxon},
           "jpeg:* disk 4000x3000,0).jpg\n"
           "x-ycbcr-yuv420:* picture 684x456,3).yuv\nx-ycbcr-yuv420:* picture 136x90,1).yuv\n"
           "jpeg:DLNA.ORG_PN=JPEG_TN picture 160x160,1).jpg\njpeg:DLNA.ORG_PN=JPEG_SM_ICO picture 48x48,1).jpg\n"
           "jpeg:DLNA.ORG_PN=JPEG_SM picture 640x480,1).jpg\njpeg:DLNA.ORG_PN=JPEG_MED picture 1024x768,1).jpg\n"
           "jpeg:DLNA.ORG_PN=JPEG_LRG_ICO picture 120x120,1).jpg\npjpeg:* picture 800x600,1).pjpg\n");
    EXPECT_EQ(between(id, "icon", go_video_d2730), "<icon>~/picture/ID(168x112,1).goicon.jpg</icon>");
    EXPECT_EQ(between(id, "dc:title,icon", generic), "");
}

TEST_F(Didl, WritesContainersAsEachClientWantsThem) {
    for (int n = 1; n <= 3; ++n)
        add({.title = "T",
             .artist = n == 1 ? Text{"A"} : Text{},
             .album = "B",
             .date = "200" + std::to_string(n),
             .path = "http://h/" + std::to_string(n) + ".MP3",
             .duration = "1:00:01",
             .album_art = n == 2 ? 1 : 0});
    const ObjectId album = id_of_container({"Music", "Albums", "B"});
    const std::string id = std::to_string(album), parent = std::to_string(id_of_container({"Music", "Albums"}));
    const std::string head =
        "<container id=\"" + id + "\" parentID=\"" + parent + "\" childCount=\"3\" restricted=\"0\" searchable=\"1\">";
    const std::string facts =
        "<dc:title>B</dc:title><dc:date>2003</dc:date><upnp:artist>A</upnp:artist>"
        "<upnp:genre></upnp:genre><upnp:albumArtURI>~/albumart-mp3/" +
        id + ".jpg</upnp:albumArtURI>";
    const std::string tail = "<upnp:class>object.container.album.musicAlbum</upnp:class></container>";
    EXPECT_EQ(render(album), head + facts + tail);
    EXPECT_EQ(render(album, "", ClientKind::go_video_d2730),
              head + "<icon>~/picture/folder.goicon</icon><dc:title>B</dc:title>" + tail);
    EXPECT_THAT(render(album, "", ClientKind::philips_streamium),
                EndsWith("<upnp:class>object.container.storageFolder</upnp:class></container>"));
    EXPECT_EQ(render(album, std::nullopt, ClientKind::roku_soundbridge),
              head + facts + "<res duration=\"3:00:03.000\"  protocolInfo=\"http-get:*:audio/x-mpegurl:*\">~/m3u/" +
                  id + ".m3u</res>" + tail);
    EXPECT_THAT(render(album, "res", ClientKind::netgear_mp101),
                HasSubstr("<res protocolInfo=\"http-get:*:audio/x-mpegurl:*\">~/m3u/" + id + ".m3u</res>"));
    // The root: no parent, permanent, no group of tracks.
    EXPECT_EQ(render(kRootId, std::nullopt, ClientKind::roku_soundbridge),
              "<container id=\"0\" parentID=\"-1\" childCount=\"3\" restricted=\"1\" searchable=\"1\">"
              "<dc:title>root</dc:title><dc:date></dc:date>"
              "<upnp:class>object.container</upnp:class></container>");
}

TEST_F(Didl, KeepsEachElementWithin1023Bytes) {
    constexpr std::size_t kRoom = kMaxElement - std::string_view{"&lt;dc:title&gt;&lt;/dc:title&gt;"}.size();
    const auto x = [](std::size_t count) { return std::string(count, 'x'); };
    for (const auto& [value, expected] : Rows<std::string, std::string>{
             {x(kRoom + 1), x(kRoom)},
             // No entity and no character is cut in two.
             {x(kRoom - 9) + "&y", x(kRoom - 9) + "&amp;amp;"},
             {x(kRoom - 8) + "&y", x(kRoom - 8)},
             {x(kRoom - 2) + "\xC3\xA4y", x(kRoom - 2) + "\xC3\xA4"},
             {x(kRoom - 1) + "\xC3\xA4", x(kRoom - 1)},
             // Escaping gives up at 1023 bytes.
             {x(1022), ""},
         }) {
        TextBuffer text;
        didl_append_element(text, "dc:title", "", value, ClientText::utf8);
        EXPECT_EQ(unpacked(std::move(text)), "<dc:title>" + expected + "</dc:title>");
    }
    // What a reader left in an attribute, and what one client reads as single bytes.
    const ObjectId odd = add({.title = "\xC3\xA9t\xC3\xA9", .path = "http://h/1.mp3", .duration = "\"><b>&"});
    EXPECT_THAT(render(odd, "duration"), HasSubstr(" duration=\"&amp;quot;&amp;gt;&amp;lt;b&amp;gt;&amp;amp;\" "));
    EXPECT_THAT(render(odd, ""), HasSubstr(">\xC3\xA9t\xC3\xA9<"));
    EXPECT_THAT(render(odd, "", ClientKind::noxon), HasSubstr(">\xE9t\xE9<"));
}

TEST_F(Didl, ShowsTheArtistOfALongFolderAsItsTracksChange) {
    const auto add_tracks = [](int first, int last, const Text& artist = {}) {
        for (int n = first; n <= last; ++n)
            add({.title = "T", .artist = artist, .album = "B", .path = "http://h/" + std::to_string(n)});
    };
    const auto artist = [] {
        StoreLock lock;
        const MediaItem* const track = group_facts(lock, *find(lock, {"Music", "Albums", "B"})).artist;
        return track != nullptr ? std::string{track->artist.view()} : "-";
    };
    add_tracks(0, 199);
    EXPECT_EQ(artist(), "-");
    add_tracks(200, 200, "First");
    add_tracks(201, 299);
    EXPECT_EQ(artist(), "First") << "behind a hundred without";
    ASSERT_EQ(db_update_object(std::to_string(id_of("http://h/299")), "artist", "", "Now"), 200);
    EXPECT_EQ(artist(), "Now");
    add_tracks(300, 300, "Newest");
    EXPECT_EQ(artist(), "Newest");
    for (const char* path : {"http://h/300", "http://h/299", "http://h/200"}) db_remove_file(path);
    EXPECT_EQ(artist(), "-");
}

}  // namespace
