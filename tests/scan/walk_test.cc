// Which directories are walked, and what is found in them.
#include <gtest/gtest.h>
#include <filesystem>

#include "core/log.h"
#include "core/settings.h"
#include "core/start_directory.h"
#include "core/str.h"
#include "scan/content_directories.h"
#include "scan/tree_walk.h"
#include "support/mp3_builder.h"
#include "support/rows.h"
#include "support/scratch.h"
#include "support/store_fixture.h"

using namespace std::string_literals;

namespace {

TEST(ContentDirectories, MayBeginWithALetterThatRestrictsThem) {
    settings_set(Setting::contentdir, "/a,M|/b,p|/c,V|,x|/d,/e|f");
    std::vector<std::pair<std::string, ScanRestriction>> found;
    for (const auto& target : content_directories()) found.emplace_back(target.path(), target.restriction);
    EXPECT_EQ(found, (decltype(found){{"/a", {}},
                                      {"/b", MediaType::music},
                                      {"/c", MediaType::picture},
                                      {"", MediaType::video},
                                      {"x|/d", {}},
                                      {"/e|f", {}}}));
    settings_free_all();
    // None is configured.
    ASSERT_EQ(content_directories().size(), 1u);
    EXPECT_EQ(content_directories().front().path(), start_directory());
    EXPECT_TRUE(rescan_dir_valid(start_directory() + "/sub"));
    EXPECT_FALSE(rescan_dir_valid("/nowhere"));
}

TEST(ContentDirectories, HoldWhatMayBeRescanned) {
    settings_set(Setting::contentdir, "/srv/music,M|/srv/Lossless,/mnt/disk/,V|,,../films");
    for (const auto& [asked, scanned, restriction] : Rows<const char*, Text, ScanRestriction>{
             {"", {}, {}},                                // valid, but no directory
             {"/SRV/Music/Abba", "/srv/music/Abba", {}},  // found in any case, scanned in the configured one
             {"M|/srv/Lossless/x", "/srv/Lossless/x", MediaType::music},
             {"m|/srv/lossless", "/srv/Lossless", MediaType::music},
             {"/srv/Lossless", {}, {}},  // the prefix is part of the element
             {"/mnt/disk/", "/mnt/disk/", {}},
             {"/mnt/disk", {}, {}},
             {"../films/x", "../films/x", {}},
             // One directory, one path: whatever is asked for.
             {"/srv/music//Abba/./Gold/", "/srv/music/Abba/Gold", {}},
             // Ways out.
             {"/srv/music/../etc", {}, {}},
             {"/srv/music/Abba/..", {}, {}},
             {"/srv/music/..hidden", "/srv/music/..hidden", {}},
             {"/srv/music2", {}, {}},
             {"V|/etc", {}, {}},
             {"/", {}, {}},
         }) {
        const auto target = rescan_target(asked);
        EXPECT_EQ(rescan_dir_valid(asked), scanned || *asked == '\0') << asked;
        EXPECT_EQ(target ? Text{target->path()} : Text{}, scanned) << asked;
        if (!target) continue;
        EXPECT_EQ(target->restriction, restriction) << asked;
        EXPECT_EQ(target->text, asked);
    }
    settings_free_all();
}

namespace fs = std::filesystem;

std::string track(std::string_view title) {
    return Id3Tag{3}.text("TIT2", title).bytes() + mpeg_frames(1);
}

class TreeWalk : public StoreFixture {
protected:
    void SetUp() override {
        StoreFixture::SetUp();
        settings_set(Setting::log_categories, "4");
        log_open_file((logs_ / "log").c_str());
        flag_.set_running();
    }
    void TearDown() override {
        log_close();
        StoreFixture::TearDown();
    }

    void write_tracks(std::initializer_list<const char*> names) {
        for (const char* const name : names) content_.write(name, track("t"));
    }
    void scan(const std::string& path, ScanRestriction restriction = {}) {
        FoundPlaylists playlists;
        scan_directory(path, flag_, restriction, playlists);
        scan_playlists(playlists, flag_);
    }
    bool logged(std::string_view text) const { return str_contains(read_whole_file(logs_ / "log"), text); }
    bool known(std::string_view name) { return id_of(content_ / name) != kNoObject; }

    RunningFlag flag_;
    ScratchDirectory content_, logs_;
};

TEST_F(TreeWalk, PlaylistsWaitForTheFilesThatTheyName) {
    settings_set(Setting::compilationsdir, "mixes");
    // One list in front of its track and one behind it, whatever order the directory yields.
    for (const char* const name : {"a/l.m3u", "My Mixes/l.m3u", "z/l.m3u"}) content_.write(name, "../My Mixes/t.mp3\n");
    content_.write("My Mixes/t.mp3", Id3Tag{3}.text("TIT2", "t").text("TRCK", "7").bytes() + mpeg_frames(1));
    write_tracks({"a.mp3", "My Mixes/CD 1/c.mp3"});
    scan(content_.path());
    StoreLock lock;
    const auto item = [&](std::string_view name) -> const MediaItem& {
        return *db_find_in_type(lock, content_ / name, ObjectClass::music_track);
    };
    EXPECT_EQ(item("a.mp3").compilation, 0);
    EXPECT_EQ(item("My Mixes/CD 1/c.mp3").compilation, 1);  // its own path holds the word, too
    EXPECT_EQ(item("My Mixes/t.mp3").compilation, 1);
    EXPECT_EQ(item("My Mixes/t.mp3").track, 7);
    EXPECT_EQ(item("My Mixes/t.mp3").playlist.view(), "l");
    EXPECT_EQ(find(lock, {"Music", "Playlists", "l"})->child_count, 1);
}

TEST_F(TreeWalk, FilesGoToTheReaderOfTheirExtension) {
    write_tracks({"a.mp3", "B.MP3", "c.d.mp3", "sub/e.mp3", "f.mp3.bak", "mp3", "g.txt", "h.avi"});
    scan(content_.path(), MediaType::video);
    EXPECT_EQ(db_count_all_tracks(), 0) << "restricted to another type";
    EXPECT_EQ(db_count_all_videos(), 1);
    scan(content_.path(), MediaType::music);
    EXPECT_EQ(db_count_all_tracks(), 4);
    EXPECT_TRUE(known("B.MP3"));
    EXPECT_TRUE(known("sub/e.mp3"));
    // A trailing slash doubles in the paths of files but not of folders.
    scan(content_.path() + "/");
    EXPECT_NE(id_of(content_.path() + "//a.mp3"), kNoObject);
    EXPECT_EQ(id_of(content_.path() + "//sub/e.mp3"), kNoObject);
}

TEST_F(TreeWalk, IgnoredPartsOfAPathHideWhatLiesBelow) {
    settings_set(Setting::ignoredir, "appledouble,,/private/");
    write_tracks({".AppleDouble/a.mp3", "Private/b.mp3", "my private/c.mp3", "d.AppleDouble.mp3"});
    scan(content_.path());
    EXPECT_EQ(db_count_all_tracks(), 1);
    EXPECT_TRUE(known("my private/c.mp3"));
}

TEST_F(TreeWalk, LinksThatLeadBackAreNotFollowed) {
    write_tracks({"band/disc/a.mp3", "other/b.mp3"});
    fs::create_directory_symlink("..", content_ / "band/disc/up");
    fs::create_directory_symlink(content_.path(), content_ / "band/top");
    fs::create_directory_symlink(".", content_ / "self");
    fs::create_directory_symlink("../other", content_ / "band/elsewhere");  // no loop: seen twice
    const auto scan_below = [&](const char* below) {
        FoundPlaylists playlists;
        scan_directory({.text = {}, .content = content_.path(), .below = below, .restriction = {}}, flag_, playlists);
    };
    for (const char* behind_a_loop : {"band/disc/up/disc", "band/disc/up", "gone"}) scan_below(behind_a_loop);
    EXPECT_EQ(db_count_all_tracks(), 0);
    EXPECT_TRUE(logged("[ERROR]DB:chdir failed "s + (content_ / "gone") + "\n"));
    scan_below("band/disc");
    EXPECT_EQ(db_count_all_tracks(), 1);
    scan(content_.path());
    EXPECT_EQ(db_count_all_tracks(), 3);
    EXPECT_TRUE(known("band/elsewhere/b.mp3"));
    EXPECT_TRUE(logged("do not descend into "s + (content_ / "band/disc/up")));
}

TEST_F(TreeWalk, DirectoriesThatLinkToEachOtherAreWalkedToAnEnd) {
    const Strings names = {"0", "1", "2", "3", "4", "5", "6", "7", "8", "9"};
    for (const std::string& from : names) {
        content_.write(from + "/a.mp3", track("t"));
        for (const std::string& to : names)
            if (to != from) fs::create_directory_symlink("../" + to, content_ / (from + "/to" + to));
    }
    scan(content_.path());
    // Each is listed wherever a link leads to it, whatever order the directories come in.
    for (const std::string& from : names)
        for (const std::string& to : names)
            EXPECT_TRUE(to == from || known(from + "/to" + to + "/a.mp3")) << from << to;
    EXPECT_LE(db_count_all_tracks(), 200);
}

TEST_F(TreeWalk, ProcIsNotRead) {
    scan("/proc");
    scan("/proc/self");
    EXPECT_TRUE(logged("DB:do not descend into /proc\n"));
    EXPECT_TRUE(logged("DB:do not descend into /proc/self\n"));
    EXPECT_FALSE(logged("scanning /proc/self/"));
    // Nor under another name.
    EXPECT_TRUE(Directory{"/proc/self"}.is_kernel_view());
    EXPECT_FALSE(Directory{content_.path()}.is_kernel_view());
}

}  // namespace
