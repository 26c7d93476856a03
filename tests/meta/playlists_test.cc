// Playlist files: their texts, and what they make of the library.
#include <gtest/gtest.h>
#include <cstdlib>
#include <filesystem>

#include "import/playlist_entry.h"
#include "import/playlist_files.h"
#include "import/playlist_text.h"
#include "support/mp3_builder.h"
#include "support/rows.h"
#include "support/scratch.h"
#include "support/store_fixture.h"

using namespace std::string_literals;

namespace {

using Entries = std::vector<std::string>;  // "entry" or "entry|title"

template <typename Format, typename Content>
Entries read(Format format, Content&& content) {
    Entries entries;
    format(content, [&](std::string_view entry, std::string_view title) {
        entries.push_back(std::string{entry} + (title.empty() ? "" : "|") + std::string{title});
        return true;
    });
    return entries;
}

TEST(PlaylistText, LinesBecomeEntries) {
    const std::string title(1014, 't');
    for (const auto& [format, text, expected] : Rows<decltype(&m3u_read), std::string, Entries>{
             // Line ends; three characters are none; a byte-order mark; a NUL ends a line.
             {m3u_read, "a.mp3\r\nb.mp3\nc.mp3\t\x01\r\n\r\nabc\nd.mp", {"a.mp3", "b.mp3", "c.mp3", "d.mp"}},
             {m3u_read, "\xEF\xBB\xBF#EXTINF:1,T\n\xC3\xA4.mp3\0junk\n#EXTALB:x,y\n"s, {"\xC3\xA4.mp3|T"}},
             // Titles are carried over to entries without one.
             {m3u_read,
              "#EXTM3U\n#EXTINF:123,Artist - Song, live\na.mp3\nb.mp3\n#EXTINF:7\nc.mp3\n#EXTINF:,\nd.mp3\n",
              {"a.mp3|Artist - Song, live", "b.mp3|Artist - Song, live", "c.mp3|Artist - Song, live", "d.mp3"}},
             // Long lines and titles are cut.
             {m3u_read, std::string(40'000, 'x') + "\nb.mp3\n", {std::string(kPlaylistLine, 'x'), "b.mp3"}},
             {m3u_read, "#EXTINF:1," + title + "uu\na.mp3\n", {"a.mp3|" + title}},
             {pls_read,
              "[playlist]\r\nNumberOfEntries=9\r\nFile1=a.mp3\r\nTitle1=T\r\nFile2=http://h/x=y\r\nFile3\r\n"
              "file4=b.mp3\r\nFile=c.mp3\r\nFile5=\r\nLength1=3",
              {"a.mp3", "http://h/x=y", "c.mp3"}},
         })
        EXPECT_EQ(read(format, FileWindow{as_bytes(text)}), expected);
}

TEST(PlaylistText, XmlEntriesAreTheSiblingsOfTheFirst) {
    EXPECT_EQ(read(xml_playlist_read,
                   "<?wpl version=\"1.0\"?><smil><head/><body><seq><media src=\"..\\a &amp; b.mp3\"/>"
                   "<other src=\"x.mp3\"/><media cid=\"1\" src=\"c.mp3\"></media><media/></seq></body>"),
              (Entries{"..\\a & b.mp3", "c.mp3"}));
}

TEST(PlaylistText, LinesThatStraddleTheReadersWindow) {
    std::string text;
    Entries expected;
    for (int i = 0; i < 20'000; ++i) {
        expected.push_back("folder/track " + std::to_string(i) + ".mp3");
        text += expected.back() + "\n";
    }
    EXPECT_EQ(read(m3u_read, FileWindow{as_bytes(text)}), expected);
}

namespace fs = std::filesystem;

class Playlists : public StoreFixture {
protected:
    void configure() override {
        settings_set(Setting::contentdir, music_.path() + ",M|" + (more_ / "sub"));
        music_.write("a.mp3", Id3Tag{3}.text("TIT2", "Tag A").bytes() + mpeg_frames(4));
        music_.write("b.mp3", mpeg_frames(4));
        music_.write("c.mp3", mpeg_frames(4));
    }
    // Writes the list and reads it.
    std::string import(const std::string& name, std::string_view content) const {
        const std::string path = music_.write(name, content);
        m3u_import(path);
        return path;
    }
    // Position and title of what the playlist holds, by position.
    static Strings entries(std::string_view name) {
        StoreLock lock;
        const MediaContainer* const list = find(lock, {"Music", "Playlists", name});
        if (list == nullptr) return {"<no such playlist>"};
        Strings out;
        for (MediaObject& child : tree_children(lock, *list))
            out.push_back(std::to_string(as_reference(&child)->sort_key) + " " + title_of(lock, child.id));
        std::sort(out.begin(), out.end());
        return out;
    }
    ScratchDirectory music_, more_;
};

TEST_F(Playlists, TitlesComeFromTagsThenFromTheList) {
    import("My List.m3u", "#EXTINF:1,From the list\na.mp3\nb.mp3\nc.mp3\n");
    // The title of the first entry's line goes on to the last one; only the tag of the first is stronger.
    EXPECT_EQ(entries("My List"), (Strings{"1 Tag A", "2 From the list", "3 From the list"}));
    import(" .m3u", "b.mp3\n");
    EXPECT_EQ(entries("Unknown"), (Strings{"1 From the list"}));
    pls_import(music_.write("l.pls", "File1=b.mp3\nFile2=http://radio.example:8000/\n"), "Given name");
    EXPECT_EQ(entries("Given name"), (Strings{"1 From the list", "2 http://radio.example:8000/"}));
}

TEST_F(Playlists, AKnownFileWithoutATitleTakesTheListsAndKeepsTheRest) {
    const std::string c = music_ / "c.mp3";
    add({.title = "a", .path = music_ / "a.mp3"});
    add({.artist = "Artist", .path = c, .track = 9, .compilation = 1, .modified = 2'000'000'000, .play_count = 7});
    import("first.m3u", "b.mp3\nc.mp3\n");
    import("l.m3u", "#EXTINF:1,Song\na.mp3\nc.mp3\n");
    EXPECT_EQ(entries("l"), (Strings{"1 a", "2 Song"})) << "the tag of a has a title";
    EXPECT_EQ(entries("first"), (Strings{"1 b", "2 Song"}));
    StoreLock lock;
    const MediaItem& item = *db_find_in_type(lock, c, ObjectClass::music_track);
    EXPECT_EQ(item.artist.view(), "Artist");
    EXPECT_EQ(item.playlist.view(), "first");
    EXPECT_EQ(item.track + item.compilation + item.play_count, 9 + 1 + 7);
    EXPECT_EQ(item.modified, 2'000'000'000);
}

TEST_F(Playlists, ReadingAgainReplacesWhatChangedAndKeepsTheIdsOfTheRest) {
    const auto ids = [] {
        StoreLock lock;
        std::vector<ObjectId> out;
        for (const MediaObject& child : tree_children(lock, *find(lock, {"Music", "Playlists", "l"})))
            out.push_back(child.id);
        return out;
    };
    const std::string path = import("l.m3u", "a.mp3\nb.mp3\na.mp3\nhttp://radio.example/one\nc.mp3\n");
    EXPECT_EQ(entries("l"), (Strings{"1 Tag A", "2 b", "3 one", "4 c"}));
    const auto first = ids();
    db_event_pass();
    const std::int32_t update_id = db_system_update_id();
    m3u_import(path);
    EXPECT_EQ(ids(), first);
    db_event_pass();
    EXPECT_EQ(db_system_update_id(), update_id);
    // A track that is replaced keeps its place.
    add({.title = "Newer", .path = music_ / "b.mp3", .modified = 2'000'000'000});
    m3u_import(path);
    EXPECT_EQ(entries("l"), (Strings{"1 Tag A", "2 Newer", "3 one", "4 c"}));

    import("l.m3u", "nowhere.mp3\nc.mp3\na.mp3\nhttp://radio.example/two\n");
    EXPECT_EQ(entries("l"), (Strings{"1 c", "2 Tag A", "3 two"}));
    EXPECT_EQ(children({"Music", "Internet Radio", "- Favorites- "}), (Strings{"(two)"})) << "nothing lists one";
    StoreLock lock;
    EXPECT_TRUE(find(lock, {"Music", "Playlists", "l"})->changed);
    EXPECT_FALSE(db_find_in_type(lock, music_ / "b.mp3", ObjectClass::music_track)->playlist) << "it left the list";
}

TEST_F(Playlists, OfTwoFilesOfOneNameTheLaterStaysWhenTheOtherIsRemoved) {
    const std::string former = import("x/l.m3u", "../a.mp3\n");
    import("y/l.m3u", "../b.mp3\n");
    fs::remove(former);
    playlists_forget_vanished({});
    EXPECT_EQ(entries("l"), (Strings{"1 b"}));
}

class PlaylistsWithoutRadio : public Playlists {
    void configure() override {
        Playlists::configure();
        settings_set(Setting::internetradio, "");
    }
};

TEST_F(PlaylistsWithoutRadio, ARefusedEntryMovesTheOthersUpOnce) {
    const std::string path = import("l.m3u", "a.mp3\nhttp://radio.example/one\nb.mp3\n");
    EXPECT_EQ(entries("l"), (Strings{"1 Tag A", "2 b"}));
    db_event_pass();
    const std::int32_t update_id = db_system_update_id();
    m3u_import(path);
    db_event_pass();
    EXPECT_EQ(db_system_update_id(), update_id) << "made anew";
}

TEST_F(Playlists, RandomPositionsShuffle) {
    settings_set(Setting::randomizeplaylists, "1");
    std::string list;
    for (int i = 0; i < 40; ++i) list += music_.write(std::to_string(i + 1000) + ".mp3") + "\n";
    std::srand(1);  // as shuffled listings do at any time
    const int next = std::rand();
    std::srand(1);
    const std::string path = import("l.m3u", list);
    EXPECT_EQ(std::rand(), next) << "a listing would come out in another order";
    const Strings first = entries("l");
    EXPECT_EQ(first.size(), 40u);
    m3u_import(path);
    EXPECT_NE(entries("l"), first);
}

TEST_F(Playlists, EntriesAreLookedForInOrderAndSpelledAsTheScannerDoes) {
    const std::string sub = more_ / "sub", lists = sub + "/lists";
    for (const char* file : {"only here.mp3", "d.mp3", "x/e.mp3", "lists/a.mp3", "lists/deep/d.mp3",
                             "lists/deep/caf\u00E9.mp3", "lists/with\\backslash.mp3", "lists/l.m3u"})
        more_.write("sub/"s + file);
    fs::create_directory_symlink(more_ / "sub/x", music_ / "link");
    const auto resolved = [](const std::string& entry, const std::string& list) {
        const auto found = playlist_resolve_entry(entry, list);
        return found ? Text{found->path} : Text{};
    };
    for (const auto& [entry, expected] : Rows<std::string, Text>{
             {"http://h/x", "http://h/x"},
             {music_ / "b.mp3", music_ / "b.mp3"},
             {"a.mp3", lists + "/a.mp3"},  // beside the list before the content directories
             {"b.mp3", music_ / "b.mp3"},
             {"only here.mp3", sub + "/only here.mp3"},  // below a content directory with a prefix
             {"deep\\d.mp3", lists + "/deep/d.mp3"},
             {"with\\backslash.mp3", lists + "/with\\backslash.mp3"},
             {"deep\\caf\xE9.mp3", lists + "/deep/caf\u00E9.mp3"},
             {"./deep//../a.mp3", lists + "/a.mp3"},
             {"../only here.mp3", sub + "/only here.mp3"},
             {"C:\\Music\\a.mp3", {}},
             {"deep", {}},
             {"l.m3u", {}},
             {"/dev/zero", {}},
             {"/tmp/..//proc/self/environ", {}},
             {"", {}},
         })
        EXPECT_EQ(resolved(entry, lists + "/l.m3u"), expected) << entry;
    settings_set(Setting::contentdir, music_.path() + "," + sub + "/");
    const std::string link = music_ / "link";
    for (const auto& [entry, expected] : Rows<std::string, Text>{
             {"d.mp3", sub + "//d.mp3"},  // two slashes in front of a file of a directory that ends with one
             {"x/e.mp3", sub + "/x/e.mp3"},
             {sub + "/d.mp3", sub + "//d.mp3"},
             {link + "/../d.mp3", link + "/../d.mp3"},  // leads to sub, not to music
         })
        EXPECT_EQ(resolved(entry, sub + "//l.m3u"), expected) << entry;
}

}  // namespace
