#include "upnp/didl.h"

#include <gmock/gmock.h>

#include "db/group_facts.h"
#include "support/store_fixture.h"

using testing::EndsWith;
using testing::HasSubstr;

namespace {

constexpr const char* kBase = "http://192.168.0.2:9000/";

// A text for an answer as it reads once it is unpacked. No bracket in it may be bare.
std::string unpacked(TextBuffer&& text) {
    std::string out = std::move(text).take();
    EXPECT_EQ(out.find_first_of("<>"), std::string::npos) << out;
    for (std::size_t at = 0; (at = out.find("&lt;")) != std::string::npos;) out.replace(at, 4, "<");
    for (std::size_t at = 0; (at = out.find("&gt;")) != std::string::npos;) out.replace(at, 4, ">");
    return out;
}

class Didl : public StoreFixture {
protected:
    static std::string render(ObjectId id, const Text& filter = std::nullopt, ClientKind kind = ClientKind::generic) {
        TextBuffer text;
        StoreLock lock;
        didl_append_object(lock, text, *tree_object(lock, id), DidlFilter{filter}, {.kind = kind, .base_url = kBase});
        return unpacked(std::move(text));
    }
    // The element that a track of this path gets as its resource.
    static std::string resource(const std::string& path, ClientKind kind, ObjectClass media_class) {
        EXPECT_EQ(db_add_item({.title = "t", .media_class = media_class, .path = path}), AddResult::added);
        const ObjectId id = id_of(path, media_class);
        std::string out = render(id, "res", kind);
        out = out.substr(out.find("<res"));
        // The id differs from run to run.
        out.resize(out.find("<upnp:class"));
        const std::string in_path = "/" + std::to_string(id);
        return out.replace(out.find(in_path), in_path.size(), "/ID");
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
    const auto elements = [](const std::string& track, const std::string& number) {
        return "<dc:title>Rock &amp;amp; &amp;lt;Roll&amp;gt;</dc:title><dc:creator>A</dc:creator>"
               "<upnp:artist>A</upnp:artist><upnp:album>B</upnp:album><upnp:genre>G</upnp:genre>"
               "<upnp:playlist>P</upnp:playlist><dc:date>1999-12-31</dc:date><upnp:originalTrackNumber>" +
               track +
               "</upnp:originalTrackNumber>"
               "<upnp:albumArtURI dlna:profileID=\"JPEG_TN\" xmlns:dlna=\"urn:schemas-dlna-org:metadata-1-0\">"
               "http://192.168.0.2:9000/albumart-mp3/" +
               number +
               ".jpg</upnp:albumArtURI>"
               "<res size=\"5000000000\" duration=\"0:03:25.000\" protocolInfo=\"http-get:*:audio/mpeg:*\" >"
               "http://192.168.0.2:9000/httpproxy/" +
               number + ".mp3</res><upnp:class>object.item.audioItem.musicTrack</upnp:class></item>";
    };
    const std::string as_item =
        "<item id=\"" + id + "\" parentID=\"" + owner + "\" restricted=\"1\">" + elements("7", id);
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
    EXPECT_EQ(render(member), "<item id=\"" + member_id + "\" refID=\"" + id + "\" parentID=\"" +
                                  std::to_string(party) + "\" restricted=\"1\">" + elements("3", member_id));
}

TEST_F(Didl, WritesWhatTheFilterNames) {
    ASSERT_EQ(db_add_item({.title = "T", .path = "http://h/x.mp3", .duration = "0:01:00", .size = 9}),
              AddResult::added);
    const ObjectId item = id_of("http://h/x.mp3");
    const std::string id = std::to_string(item);
    const std::string head = "<item id=\"" + id + "\" parentID=\"" +
                             std::to_string(id_of_container({"Music", "All Tracks"})) +
                             "\" restricted=\"1\"><dc:title>T</dc:title>";
    const std::string tail = "<upnp:class>object.item.audioItem.musicTrack</upnp:class></item>";
    const std::string url =
        "protocolInfo=\"http-get:*:audio/mpeg:*\" >http://192.168.0.2:9000/httpproxy/" + id + ".mp3</res>";
    EXPECT_EQ(render(item, ""), head + tail);
    EXPECT_EQ(render(item, "res@size"), head + "<res size=\"9\" " + url + tail);
    EXPECT_EQ(render(item, "res@duration"), head + "<res duration=\"0:01:00\" " + url + tail);
    // Named but missing: an empty element, never none.
    EXPECT_EQ(render(item, "upnp:album,upnp:albumArtURI"),
              head + "<upnp:album></upnp:album><upnp:albumArtURI></upnp:albumArtURI>" + tail);
}

TEST(DidlFilter, FindsNamesAtTheEndOfAnEntry) {
    struct {
        Text filter;
        const char* name;
        bool expected;
    } const kCases[] = {
        {"dc:title,*", "res", false},     {"res@size,dc:date", "res", true}, {"res@size", "size", true},
        {"result", "res", false},         {"res\xC3\xA4", "res", true},      {"res!", "res", false},
        {"artistartist", "artist", true},
    };
    for (const auto& row : kCases)
        EXPECT_EQ(didl_filter_has(row.filter, row.name), row.expected)
            << row.filter.value_or("(none)") << " " << row.name;
}

TEST_F(Didl, WritesTheResourceOfEveryMediaType) {
    const ObjectClass movie = ObjectClass::movie, track = ObjectClass::music_track;
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
        {"http://h/clip_NTSC.mpg", dlna, movie, "video/mpeg:DLNA.ORG_PN=MPEG_PS_NTSC;DLNA.ORG_OP=00",
         "httpproxy/ID_DLNA_MPEG_PS_NTSC.mpg"},
        {"http://h/clip.mpg", dlna, movie, "video/mpeg:DLNA.ORG_PN=MPEG_PS_PAL;DLNA.ORG_OP=00",
         "httpproxy/ID_DLNA_MPEG_PS_PAL.mpg"},
        {"http://h/ntsc.mpg", plain, movie, "video/mpeg:*", "httpproxy/ID.mpg"},
        {"http://h/clip.avi", dlna, movie, "video/x-msvideo:DLNA.ORG_OP=00", "httpproxy/ID.avi"},
    };
    for (const auto& row : kCases)
        EXPECT_EQ(resource(row.path, row.kind, row.media_class),
                  std::string{"<res protocolInfo=\"http-get:*:"} + row.protocol_info + "\" >http://192.168.0.2:9000/" +
                      row.url + "</res>");
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
    const std::string head =
        "<container id=\"" + id + "\" parentID=\"" + parent + "\" childCount=\"3\" restricted=\"0\" searchable=\"1\">";
    const std::string facts =
        "<dc:title>B</dc:title><dc:date>2003</dc:date><upnp:artist>A</upnp:artist>"
        "<upnp:genre></upnp:genre><upnp:albumArtURI>http://192.168.0.2:9000/albumart-mp3/" +
        id + ".jpg</upnp:albumArtURI>";
    const std::string tail = "<upnp:class>object.container.album.musicAlbum</upnp:class></container>";
    EXPECT_EQ(render(album), head + facts + tail);
    EXPECT_EQ(render(album, "", ClientKind::go_video_d2730),
              head +
                  "<icon>http://192.168.0.2:9000/picture/folder.goicon</icon>"
                  "<dc:title>B</dc:title>" +
                  tail);
    EXPECT_THAT(render(album, "", ClientKind::philips_streamium),
                EndsWith("<upnp:class>object.container.storageFolder</upnp:class></container>"));
    const std::string list = "http://192.168.0.2:9000/m3u/" + id + ".m3u</res>";
    EXPECT_EQ(
        render(album, std::nullopt, ClientKind::roku_soundbridge),
        head + facts + "<res duration=\"3:00:03.000\"  protocolInfo=\"http-get:*:audio/x-mpegurl:*\">" + list + tail);
    EXPECT_THAT(render(album, "res", ClientKind::netgear_mp101),
                HasSubstr("<res protocolInfo=\"http-get:*:audio/x-mpegurl:*\">" + list));
    // The root: no parent, permanent, no group of tracks.
    EXPECT_EQ(render(kRootId, std::nullopt, ClientKind::roku_soundbridge),
              "<container id=\"0\" parentID=\"-1\" childCount=\"3\" restricted=\"1\" searchable=\"1\">"
              "<dc:title>root</dc:title><dc:date></dc:date>"
              "<upnp:class>object.container</upnp:class></container>");
}

TEST_F(Didl, KeepsEachElementWithin1023Bytes) {
    constexpr std::size_t kRoom = kMaxElement - std::string_view{"&lt;dc:title&gt;&lt;/dc:title&gt;"}.size();
    const auto x = [](std::size_t count) { return std::string(count, 'x'); };
    struct {
        std::string value, expected;
    } const kCases[] = {
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
        didl_append_element(text, "dc:title", "", row.value, ClientText::utf8);
        EXPECT_EQ(unpacked(std::move(text)), "<dc:title>" + row.expected + "</dc:title>");
    }
}

TEST_F(Didl, EscapesWhatReadersAndControlPointsLeave) {
    ASSERT_EQ(db_add_item({.title = "\xE9t\xE9 \xC3\xA9", .path = "http://h/1.mp3", .duration = "\"><b>&"}),
              AddResult::added);
    const ObjectId item = id_of("http://h/1.mp3");
    EXPECT_THAT(render(item, "duration"), HasSubstr(" duration=\"&amp;quot;&amp;gt;&amp;lt;b&amp;gt;&amp;amp;\" "));

    ASSERT_EQ(db_add_item({.title = "\xC3\xA9t\xC3\xA9", .path = "http://h/2.mp3"}), AddResult::added);
    const ObjectId summer = id_of("http://h/2.mp3");
    EXPECT_THAT(render(summer, ""), HasSubstr(">\xC3\xA9t\xC3\xA9<"));
    EXPECT_THAT(render(summer, "", ClientKind::noxon), HasSubstr(">\xE9t\xE9<"));
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
