#include "upnp/didl.h"

#include <gmock/gmock.h>

#include <regex>

#include "db/group_facts.h"
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
        didl_append_object(lock, text, *tree_object(lock, id), DidlFilter{filter}, {.kind = kind, .base_url = "~/"});
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
    const std::string id = std::to_string(item), owner = std::to_string(id_of_container({"Music", "All Tracks"}));
    const auto elements = [](const std::string& track, const std::string& number) {
        return "<dc:title>Rock &amp;amp; &amp;lt;Roll&amp;gt;</dc:title><dc:creator>A</dc:creator>"
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
    };
    const std::string as_item =
        "<item id=\"" + id + "\" parentID=\"" + owner + "\" restricted=\"1\">" + elements("7", id);
    EXPECT_EQ(render(item), as_item);
    EXPECT_EQ(render(item, "*"), as_item);

    // In a playlist: its own id, the item's as refID, and its position instead of the track number.
    ASSERT_EQ(db_add_item({.playlist = "Party", .path = "http://h/x.mp3", .track = 3}), AddResult::already_present);
    const ObjectId party = id_of_container({"Music", "Playlists", "Party"}), member = party + 1;
    EXPECT_EQ(render(member), "<item id=\"" + std::to_string(member) + "\" refID=\"" + id + "\" parentID=\"" +
                                  std::to_string(party) + "\" restricted=\"1\">" +
                                  elements("3", std::to_string(member)));
}

TEST_F(Didl, WritesWhatTheFilterNames) {
    const ObjectId item = add({.title = "T", .path = "http://h/x.mp3", .duration = "0:01:00", .size = 9});
    const std::string url = "protocolInfo=\"http-get:*:audio/mpeg:*\" >~/httpproxy/ID.mp3</res>";
    for (const auto& [filter, elements] : std::initializer_list<std::pair<const char*, std::string>>{
             {"", ""},
             {"res@size", "<res size=\"9\" " + url},
             {"res@duration", "<res duration=\"0:01:00\" " + url},
             // Named but missing: an empty element, never none.
             {"upnp:album,upnp:albumArtURI", "<upnp:album></upnp:album><upnp:albumArtURI></upnp:albumArtURI>"},
         })
        EXPECT_EQ(between(item, filter, ClientKind::generic), elements) << filter;
}

TEST(DidlFilter, FindsNamesAtTheEndOfAnEntry) {
    struct {
        const char *filter, *name;
        bool expected;
    } const rows[] = {
        {"dc:title,*", "res", false},     {"res@size,dc:date", "res", true}, {"res@size", "size", true},
        {"result", "res", false},         {"res\xC3\xA4", "res", true},      {"res!", "res", false},
        {"artistartist", "artist", true},
    };
    for (const auto& row : rows) EXPECT_EQ(didl_filter_has(Text{row.filter}, row.name), row.expected) << row.filter;
}

TEST_F(Didl, WritesTheResourceOfEveryMediaType) {
    const ObjectClass movie = ObjectClass::movie, track = ObjectClass::music_track;
    const ClientKind plain = ClientKind::generic, dlna = ClientKind::tv_remote;
    struct {
        const char* path;
        ClientKind kind;
        ObjectClass media_class;
        const char *protocol_info, *url;
    } const rows[] = {
        {"ftp://h/a.mp3", dlna, track, "audio/mpeg:DLNA.ORG_OP=11", "ftpproxy/ID.mp3"},
        {"http://h/a.pcm", plain, track, "audio/L16;rate=44100;channels=2:DLNA.ORG_PN=LPCM;DLNA.ORG_OP=11",
         "httpproxy/ID_DLNA_LPCM.pcm"},
        {"http://h/clip_NTSC.mpg", dlna, movie, "video/mpeg:DLNA.ORG_PN=MPEG_PS_NTSC;DLNA.ORG_OP=00",
         "httpproxy/ID_DLNA_MPEG_PS_NTSC.mpg"},
        {"http://h/clip.mpg", dlna, movie, "video/mpeg:DLNA.ORG_PN=MPEG_PS_PAL;DLNA.ORG_OP=00",
         "httpproxy/ID_DLNA_MPEG_PS_PAL.mpg"},
        {"http://h/ntsc.mpg", plain, movie, "video/mpeg:*", "httpproxy/ID.mpg"},
        {"http://h/clip.avi", dlna, movie, "video/x-msvideo:DLNA.ORG_OP=00", "httpproxy/ID.avi"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(between(add({.title = "t", .media_class = row.media_class, .path = row.path}), "res", row.kind),
                  std::string{"<res protocolInfo=\"http-get:*:"} + row.protocol_info + "\" >~/" + row.url + "</res>");
}

TEST_F(Didl, OffersPicturesInTheRenditionsOfTheClient) {
    const ObjectId id =
        add({.title = "P", .media_class = ObjectClass::photo, .path = "http://h/p.jpg", .width = 4000, .height = 3000});
    // "resolution MIME:profile URL", one a line.
    const auto listed = [id](ClientKind kind) {
        const std::regex res{"<res resolution=\"(\\S+)\" protocolInfo=\"http-get:\\*:image/(\\S+)\">~/(\\S+?)</res>"};
        return std::regex_replace(between(id, "res", kind), res, "$1 $2 $3\n");
    };
    EXPECT_EQ(listed(ClientKind::smc_ez_stream), "704x528 jpeg:* picture/ID(704x528,3).jpg\n");
    EXPECT_EQ(listed(ClientKind::dlink_dsm320),
              "684x456 jpeg:* picture/ID(684x456,3).jpg\n"
              "<desc><DA dir=\"0\">~/picture/ID(120x90,1).jpg</DA></desc>");
    EXPECT_EQ(listed(ClientKind::go_video_d2730), "4000x3000 jpeg:* disk/ID(4000x3000,0).jpg\n");
    EXPECT_EQ(between(id, "icon", ClientKind::go_video_d2730), "<icon>~/picture/ID(168x112,1).goicon.jpg</icon>");
    EXPECT_EQ(listed(ClientKind::tv_remote),
              "720x576 jpeg:* picture/ID(720x576,1).jpg\n"
              "120x105 jpeg:* picture/ID(120x105,1).jpg\n");
    EXPECT_EQ(listed(ClientKind::philips_streamium),
              "720x576 jpeg:* picture/ID(720x576,1).jpg\n"
              "1024x768 jpeg:* picture/ID(1024x768,1).jpg\n"
              "120x105 jpeg:* picture/ID(120x105,1).jpg\n"
              "69x51 jpeg:* picture/ID(69x51,1).jpg\n");
    EXPECT_EQ(listed(ClientKind::tini), "320x240 jpeg:* picture/ID(320x240,1).tini.jpg\n");
    for (const ClientKind other : {ClientKind::generic, ClientKind::netgear_mp101, ClientKind::sony,
                                   ClientKind::linksys, ClientKind::roku_soundbridge, ClientKind::noxon})
        EXPECT_EQ(listed(other),
                  "4000x3000 jpeg:* disk/ID(4000x3000,0).jpg\n"
                  "684x456 x-ycbcr-yuv420:* picture/ID(684x456,3).yuv\n"
                  "136x90 x-ycbcr-yuv420:* picture/ID(136x90,1).yuv\n"
                  "160x160 jpeg:DLNA.ORG_PN=JPEG_TN picture/ID(160x160,1).jpg\n"
                  "48x48 jpeg:DLNA.ORG_PN=JPEG_SM_ICO picture/ID(48x48,1).jpg\n"
                  "640x480 jpeg:DLNA.ORG_PN=JPEG_SM picture/ID(640x480,1).jpg\n"
                  "1024x768 jpeg:DLNA.ORG_PN=JPEG_MED picture/ID(1024x768,1).jpg\n"
                  "120x120 jpeg:DLNA.ORG_PN=JPEG_LRG_ICO picture/ID(120x120,1).jpg\n"
                  "800x600 pjpeg:* picture/ID(800x600,1).pjpg\n");
    EXPECT_EQ(between(id, "dc:title,icon", ClientKind::generic), "");
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
    for (const auto& [value, expected] : std::initializer_list<std::pair<std::string, std::string>>{
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
        didl_append_element(text, "dc:title", "", value, ReceiverText::utf8);
        EXPECT_EQ(unpacked(std::move(text)), "<dc:title>" + expected + "</dc:title>");
    }
    // What a reader left in an attribute, and what one client reads as single bytes.
    const ObjectId odd = add({.title = "\xC3\xA9t\xC3\xA9", .path = "http://h/1.mp3", .duration = "\"><b>&"});
    EXPECT_THAT(render(odd, "duration"), HasSubstr(" duration=\"&amp;quot;&amp;gt;&amp;lt;b&amp;gt;&amp;amp;\" "));
    EXPECT_THAT(render(odd, ""), HasSubstr(">\xC3\xA9t\xC3\xA9<"));
    EXPECT_THAT(render(odd, "", ClientKind::noxon), HasSubstr(">\xE9t\xE9<"));
}

TEST_F(Didl, ShowsFactsOfAFolderAsItsTracksChange) {
    const auto add_track = [](int n, const Text& artist = {}) {
        add({.title = "T",
             .artist = artist,
             .album = "B",
             .path = "http://h/" + std::to_string(n) + ".mp3",
             .duration = "0:00:10"});
    };
    // The artist of the newest track that has one, and the play times: once for every reference below, the album's and
    // that of "- All -" beside it.
    const auto facts = [] {
        StoreLock lock;
        const MediaItem* const with_artist = group_facts(lock, *find(lock, {"Music", "Albums", "B"})).artist;
        return (with_artist != nullptr ? std::string{with_artist->artist.view()} : "-") + " " +
               std::to_string(didl_music_seconds(lock, *find(lock, {"Music", "All Tracks"}))) + " " +
               std::to_string(didl_music_seconds(lock, *find(lock, {"Music", "Albums"})));
    };
    for (int n = 0; n < 200; ++n) add_track(n);
    EXPECT_EQ(facts(), "- 2000 4000");
    add_track(200, "First");
    for (int n = 201; n < 300; ++n) add_track(n);
    EXPECT_EQ(facts(), "First 3000 6000") << "behind a hundred without";
    add_track(300, "Newest");
    EXPECT_EQ(facts(), "Newest 3010 6020");
    for (const char* const path : {"http://h/300.mp3", "http://h/200.mp3"}) {
        StoreLock lock;
        tree_remove_item(lock, *tree_find_path(lock, ObjectClass::music_track, path));
    }
    EXPECT_EQ(facts(), "- 2990 5980");
}

}  // namespace
