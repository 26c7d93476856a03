#include "db/didl.h"

#include <gmock/gmock.h>

#include "db/group_facts.h"
#include "support/store_fixture.h"

using testing::EndsWith;
using testing::HasSubstr;

namespace {

constexpr const char* kBase = "http://192.168.0.2:9000/";

class Didl : public StoreFixture {
protected:
    static std::string render(ObjectId id, const Text& filter = std::nullopt, ClientKind kind = ClientKind::generic,
                              bool original_pictures = false) {
        TextBuffer text;
        StoreLock lock;
        didl_append_object(lock, text, *tree_object(lock, id), DidlFilter{filter},
                           {.kind = kind, .base_url = kBase, .original_pictures = original_pictures});
        return std::move(text).take();
    }
    // The element that a track of this path gets as its resource.
    static std::string resource(const std::string& path, ClientKind kind,
                                ObjectClass media_class = ObjectClass::music_track) {
        EXPECT_EQ(db_add_item({.title = "t", .media_class = media_class, .genre = "g", .path = path}),
                  AddResult::added);
        StoreLock lock;
        // A station is listed below its genre only, where no path leads to it.
        const MediaContainer* const owner = media_class == ObjectClass::audio_broadcast
                                                ? db_find_child_container(lock, "g", *store(lock).internet_radio)
                                                : db_type_root(lock, media_class);
        const ObjectId id = owner->first_child;
        TextBuffer text;
        didl_append_object(lock, text, *tree_object(lock, id), DidlFilter{"res"}, {.kind = kind, .base_url = kBase});
        std::string out{text.text()};
        out = out.substr(out.find("&lt;res"));
        out = out.substr(0, out.find("&lt;upnp:class"));
        // The id differs from run to run.
        return str_replace_first(out, "/" + std::to_string(id), "/ID");
    }
    static ObjectId id_of_container(const std::vector<std::string_view>& titles) {
        StoreLock lock;
        return find(lock, titles)->id;
    }
};

TEST_F(Didl, WritesATrackWithEverything) {
    ASSERT_EQ(db_add_item({.title = "Rock & <Roll>",
                           .artist = "A",
                           .album = "B",
                           .genre = "G",
                           .playlist = "P",
                           .date = "1999-12-31",
                           .path = "http://h/x.mp3",
                           .duration = "0:03:25.000",
                           .track = 7,
                           .album_art = 1,
                           .size = 5'000'000'000}),
              AddResult::added);
    const ObjectId item = id_of("http://h/x.mp3");
    const std::string id = std::to_string(item), owner = std::to_string(id_of_container({"Music", "All Tracks"}));
    const std::string elements_before_number =
        "&lt;dc:title&gt;Rock &amp;amp; &amp;lt;Roll&amp;gt;&lt;/dc:title&gt;"
        "&lt;dc:creator&gt;A&lt;/dc:creator&gt;&lt;upnp:artist&gt;A&lt;/upnp:artist&gt;"
        "&lt;upnp:album&gt;B&lt;/upnp:album&gt;&lt;upnp:genre&gt;G&lt;/upnp:genre&gt;"
        "&lt;upnp:playlist&gt;P&lt;/upnp:playlist&gt;&lt;dc:date&gt;1999-12-31&lt;/dc:date&gt;"
        "&lt;upnp:originalTrackNumber&gt;";
    const auto from_art = [](const std::string& number) {
        return "&lt;/upnp:originalTrackNumber&gt;"
               "&lt;upnp:albumArtURI dlna:profileID=\"JPEG_TN\" xmlns:dlna=\"urn:schemas-dlna-org:metadata-1-0\"&gt;"
               "http://192.168.0.2:9000/albumart-mp3/" +
               number +
               ".jpg&lt;/upnp:albumArtURI&gt;"
               "&lt;res size=\"5000000000\" duration=\"0:03:25.000\" protocolInfo=\"http-get:*:audio/mpeg:*\" &gt;"
               "http://192.168.0.2:9000/httpproxy/" +
               number +
               ".mp3&lt;/res&gt;"
               "&lt;upnp:class&gt;object.item.audioItem.musicTrack&lt;/upnp:class&gt;&lt;/item&gt;";
    };
    const std::string as_item = "&lt;item id=\"" + id + "\" parentID=\"" + owner + "\" restricted=\"1\"&gt;" +
                                elements_before_number + "7" + from_art(id);
    EXPECT_EQ(render(item), as_item);
    EXPECT_EQ(render(item, "*"), as_item);

    // In a playlist: its own id, the item's as refID, and its position instead of the track number.
    ASSERT_EQ(db_add_item({.playlist = "Party", .path = "http://h/x.mp3", .track = 3}), AddResult::already_present);
    const ObjectId party = id_of_container({"Music", "Playlists", "Party"});
    ObjectId member = kNoObject;
    {
        StoreLock lock;
        member = as_container(tree_object(lock, party))->first_child;
    }
    const std::string member_id = std::to_string(member);
    EXPECT_EQ(render(member), "&lt;item id=\"" + member_id + "\" refID=\"" + id + "\" parentID=\"" +
                                  std::to_string(party) + "\" restricted=\"1\"&gt;" + elements_before_number + "3" +
                                  from_art(member_id));
}

TEST_F(Didl, WritesWhatTheFilterNames) {
    ASSERT_EQ(db_add_item({.title = "T", .path = "http://h/x.mp3", .duration = "0:01:00", .size = 9}),
              AddResult::added);
    const ObjectId item = id_of("http://h/x.mp3");
    const std::string id = std::to_string(item);
    const std::string head = "&lt;item id=\"" + id + "\" parentID=\"" +
                             std::to_string(id_of_container({"Music", "All Tracks"})) +
                             "\" restricted=\"1\"&gt;&lt;dc:title&gt;T&lt;/dc:title&gt;";
    const std::string tail = "&lt;upnp:class&gt;object.item.audioItem.musicTrack&lt;/upnp:class&gt;&lt;/item&gt;";
    const std::string url =
        "protocolInfo=\"http-get:*:audio/mpeg:*\" &gt;http://192.168.0.2:9000/httpproxy/" + id + ".mp3&lt;/res&gt;";
    EXPECT_EQ(render(item, ""), head + tail);
    EXPECT_EQ(render(item, "dc:title,res"), head + "&lt;res " + url + tail);
    EXPECT_EQ(render(item, "res@size"), head + "&lt;res size=\"9\" " + url + tail);
    EXPECT_EQ(render(item, "res@duration"), head + "&lt;res duration=\"0:01:00\" " + url + tail);
    // Named but missing: an empty element, never none.
    EXPECT_EQ(render(item, "upnp:album,upnp:albumArtURI"),
              head + "&lt;upnp:album&gt;&lt;/upnp:album&gt;&lt;upnp:albumArtURI&gt;&lt;/upnp:albumArtURI&gt;" + tail);
}

TEST(DidlFilter, FindsNamesAtTheEndOfAnEntry) {
    struct {
        Text filter;
        const char* name;
        bool expected;
    } const kCases[] = {
        {std::nullopt, "res", true},
        {"*", "res", true},
        {"*,nothing", "res", true},
        {"", "res", false},
        {"dc:title,*", "res", false},
        {"res", "res", true},
        {"res@size,dc:date", "res", true},
        {"res@size", "size", true},
        {"result", "res", false},
        {"result,res", "res", true},
        {"res dc:date", "res", true},
        {"res\xC3\xA4", "res", true},
        {"res!", "res", false},
        {"upnp:albumArtURI", "album", false},
        {"upnp:artist", "artist", true},
        {"artistartist", "artist", true},
    };
    for (const auto& row : kCases)
        EXPECT_EQ(didl_filter_has(row.filter, row.name), row.expected)
            << row.filter.value_or("(none)") << " " << row.name;
}

TEST_F(Didl, WritesTheResourceOfEveryMediaType) {
    const ObjectClass movie = ObjectClass::movie, station = ObjectClass::audio_broadcast;
    const ObjectClass track = ObjectClass::music_track;
    const ClientKind plain = ClientKind::generic, dlna = ClientKind::tv_remote;
    struct {
        const char* path;
        ClientKind kind;
        ObjectClass media_class;
        const char *protocol_info, *url;
    } const kCases[] = {
        {"ftp://h/a.mp3", dlna, track, "audio/mpeg:DLNA.ORG_OP=11", "ftpproxy/ID.mp3"},
        {"http://h/a.pcm", plain, track, "audio/L16;rate=44100;channels=2:DLNA.ORG_PN=LPCM;DLNA.ORG_OP=11",
         "httpproxy/ID_DLNA_LPCM.pcm"},
        {"http://h/48/Mono.lpcm", plain, track, "audio/L16;rate=48000;channels=1:DLNA.ORG_PN=LPCM;DLNA.ORG_OP=11",
         "httpproxy/ID_DLNA_LPCM.lpcm"},
        {"http://h/clip_NTSC.mpg", dlna, movie, "video/mpeg:DLNA.ORG_PN=MPEG_PS_NTSC;DLNA.ORG_OP=00",
         "httpproxy/ID_DLNA_MPEG_PS_NTSC.mpg"},
        {"http://h/clip.mpg", dlna, movie, "video/mpeg:DLNA.ORG_PN=MPEG_PS_PAL;DLNA.ORG_OP=00",
         "httpproxy/ID_DLNA_MPEG_PS_PAL.mpg"},
        {"http://h/ntsc.mpg", plain, movie, "video/mpeg:*", "httpproxy/ID.mpg"},
        {"http://h/clip.avi", dlna, movie, "video/x-msvideo:DLNA.ORG_OP=00", "httpproxy/ID.avi"},
        {"http://station:8000/", plain, station, "audio/mpeg:*", "httpproxy/ID.mp3"},
    };
    for (const auto& row : kCases)
        EXPECT_EQ(resource(row.path, row.kind, row.media_class),
                  std::string{"&lt;res protocolInfo=\"http-get:*:"} + row.protocol_info +
                      "\" &gt;http://192.168.0.2:9000/" + row.url + "&lt;/res&gt;");
}

TEST_F(Didl, WritesOriginalPicturesOnlyWhereTheyAreWanted) {
    ASSERT_EQ(db_add_item({.title = "P",
                           .media_class = ObjectClass::photo,
                           .path = "http://h/p.jpg",
                           .description = "D",
                           .keywords = "K",
                           .width = 640,
                           .height = 480}),
              AddResult::added);
    const ObjectId item = id_of("http://h/p.jpg", ObjectClass::photo);
    const std::string filter = "dc:description,upnp:keywords,upnp:artist,res";
    EXPECT_THAT(
        render(item, filter, ClientKind::generic, true),
        EndsWith("&lt;dc:title&gt;P&lt;/dc:title&gt;&lt;dc:description&gt;D&lt;/dc:description&gt;"
                 "&lt;upnp:keywords&gt;K&lt;/upnp:keywords&gt;"
                 "&lt;res resolution=\"640x480\" protocolInfo=\"http-get:*:image/jpeg:*\" &gt;"
                 "http://192.168.0.2:9000/httpproxy/" +
                 std::to_string(item) +
                 ".jpg&lt;/res&gt;&lt;upnp:class&gt;object.item.imageItem.photo&lt;/upnp:class&gt;&lt;/item&gt;"));
}

TEST_F(Didl, WritesContainersAsEachReceiverWantsThem) {
    for (int n = 1; n <= 3; ++n)
        ASSERT_EQ(db_add_item({.title = "T",
                               .artist = n == 1 ? Text{"A"} : Text{},
                               .album = "B",
                               .date = "200" + std::to_string(n),
                               .path = "http://h/" + std::to_string(n) + ".MP3",
                               .duration = "1:00:01",
                               .album_art = n == 2 ? 1 : 0}),
                  AddResult::added);
    const ObjectId album = id_of_container({"Music", "Albums", "B"});
    const std::string id = std::to_string(album), parent = std::to_string(id_of_container({"Music", "Albums"}));
    const std::string head = "&lt;container id=\"" + id + "\" parentID=\"" + parent +
                             "\" childCount=\"3\" restricted=\"0\" searchable=\"1\"&gt;";
    const std::string facts =
        "&lt;dc:title&gt;B&lt;/dc:title&gt;&lt;dc:date&gt;2003&lt;/dc:date&gt;&lt;upnp:artist&gt;A&lt;/upnp:artist&gt;"
        "&lt;upnp:genre&gt;&lt;/upnp:genre&gt;&lt;upnp:albumArtURI&gt;http://192.168.0.2:9000/albumart-mp3/" +
        id + ".jpg&lt;/upnp:albumArtURI&gt;";
    const std::string tail = "&lt;upnp:class&gt;object.container.album.musicAlbum&lt;/upnp:class&gt;&lt;/container&gt;";
    EXPECT_EQ(render(album), head + facts + tail);
    EXPECT_EQ(render(album, "dc:title"), head + "&lt;dc:title&gt;B&lt;/dc:title&gt;" + tail);
    EXPECT_EQ(render(album, "", ClientKind::go_video_d2730),
              head +
                  "&lt;icon&gt;http://192.168.0.2:9000/picture/folder.goicon&lt;/icon&gt;"
                  "&lt;dc:title&gt;B&lt;/dc:title&gt;" +
                  tail);
    EXPECT_THAT(render(album, "", ClientKind::philips_streamium),
                EndsWith("&lt;upnp:class&gt;object.container.storageFolder&lt;/upnp:class&gt;&lt;/container&gt;"));
    const std::string list = "http://192.168.0.2:9000/m3u/" + id + ".m3u&lt;/res&gt;";
    EXPECT_EQ(render(album, std::nullopt, ClientKind::roku_soundbridge),
              head + facts + "&lt;res duration=\"3:00:03.000\"  protocolInfo=\"http-get:*:audio/x-mpegurl:*\"&gt;" +
                  list + tail);
    EXPECT_THAT(render(album, "res", ClientKind::netgear_mp101),
                HasSubstr("&lt;res protocolInfo=\"http-get:*:audio/x-mpegurl:*\"&gt;" + list));
    // The root: no parent, permanent, no group of tracks.
    EXPECT_EQ(render(kRootId, std::nullopt, ClientKind::roku_soundbridge),
              "&lt;container id=\"0\" parentID=\"-1\" childCount=\"3\" restricted=\"1\" searchable=\"1\"&gt;"
              "&lt;dc:title&gt;root&lt;/dc:title&gt;&lt;dc:date&gt;&lt;/dc:date&gt;"
              "&lt;upnp:class&gt;object.container&lt;/upnp:class&gt;&lt;/container&gt;");
}

TEST_F(Didl, KeepsEachElementWithin1023Bytes) {
    constexpr std::size_t kRoom = kMaxElement - std::string_view{"&lt;dc:title&gt;&lt;/dc:title&gt;"}.size();
    const auto x = [](std::size_t count) { return std::string(count, 'x'); };
    struct {
        std::string value, expected;
    } const kCases[] = {
        {x(kRoom), x(kRoom)},
        {x(kRoom + 1), x(kRoom)},
        // No entity and no character is cut in two.
        {x(kRoom - 9) + "&y", x(kRoom - 9) + "&amp;amp;"},
        {x(kRoom - 8) + "&y", x(kRoom - 8)},
        {x(kRoom - 2) + "\xC3\xA4y", x(kRoom - 2) + "\xC3\xA4"},
        {x(kRoom - 1) + "\xC3\xA4", x(kRoom - 1)},
        // Escaping gives up at 1023 bytes.
        {x(1022), ""},
    };
    for (const auto& row : kCases) {
        TextBuffer text;
        didl_append_element(text, "dc:title", "", row.value, ReceiverText::utf8);
        EXPECT_EQ(text.text(), "&lt;dc:title&gt;" + row.expected + "&lt;/dc:title&gt;");
    }
}

TEST_F(Didl, EscapesWhatReadersAndControlPointsLeave) {
    ASSERT_EQ(db_add_item({.title = "\xE9t\xE9 \xC3\xA9", .path = "http://h/1.mp3", .duration = "\"><b>&"}),
              AddResult::added);
    const ObjectId item = id_of("http://h/1.mp3");
    EXPECT_THAT(render(item, "duration"), HasSubstr(" duration=\"&amp;quot;&amp;gt;&amp;lt;b&amp;gt;&amp;amp;\" "));

    ASSERT_EQ(db_add_item({.title = "\xC3\xA9t\xC3\xA9", .path = "http://h/2.mp3"}), AddResult::added);
    const ObjectId summer = id_of("http://h/2.mp3");
    EXPECT_THAT(render(summer, ""), HasSubstr("&gt;\xC3\xA9t\xC3\xA9&lt;"));
    EXPECT_THAT(render(summer, "", ClientKind::noxon), HasSubstr("&gt;\xE9t\xE9&lt;"));
}

// ---- what folders show of their tracks

class Group : public StoreFixture {
protected:
    static void add(int n, const NewItem& with = {}) {
        NewItem item = with;
        item.title = "T";
        item.album = "B";
        item.path = "http://h/" + std::to_string(n) + ".mp3";
        item.duration = "0:00:10";
        ASSERT_EQ(db_add_item(std::move(item)), AddResult::added);
    }
    static std::string artist() {
        StoreLock lock;
        const GroupFacts facts = group_facts(lock, *find(lock, {"Music", "Albums", "B"}));
        return facts.artist != nullptr ? std::string{facts.artist->artist.view()} : "-";
    }
    static std::int64_t seconds(const std::vector<std::string_view>& titles) {
        StoreLock lock;
        return didl_music_seconds(lock, *find(lock, titles));
    }
};

TEST_F(Group, FollowsTheListAlsoWhereItIsLong) {
    for (int n = 0; n < 200; ++n) add(n);
    EXPECT_EQ(artist(), "-");
    add(200, {.artist = "First"});
    EXPECT_EQ(artist(), "First");
    for (int n = 201; n < 300; ++n) add(n);
    EXPECT_EQ(artist(), "First") << "behind a hundred without";
    add(300, {.artist = "Newest"});
    EXPECT_EQ(artist(), "Newest");
    StoreLock lock;
    tree_remove_item(lock, *tree_find_path(lock, ObjectClass::music_track, "http://h/300.mp3"));
    tree_remove_item(lock, *tree_find_path(lock, ObjectClass::music_track, "http://h/200.mp3"));
    EXPECT_EQ(group_facts(lock, *find(lock, {"Music", "Albums", "B"})).artist, nullptr);
}

TEST_F(Group, SumsPlayTimesOverEverythingBelow) {
    add(1);
    add(2);
    EXPECT_EQ(seconds({"Music", "All Tracks"}), 20);
    // Once for every reference: the album, and "- All -" beside it.
    EXPECT_EQ(seconds({"Music", "Albums"}), 40);
    add(3);
    EXPECT_EQ(seconds({"Music", "Albums"}), 60);
    {
        StoreLock lock;
        tree_remove_item(lock, *tree_find_path(lock, ObjectClass::music_track, "http://h/1.mp3"));
    }
    EXPECT_EQ(seconds({"Music", "Albums"}), 40);
}

}  // namespace
