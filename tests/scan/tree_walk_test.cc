#include "scan/tree_walk.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "core/log.h"
#include "core/str.h"
#include "db/upkeep.h"
#include "support/mp3_builder.h"
#include "support/scratch.h"
#include "support/store_fixture.h"

using namespace std::string_literals;
namespace fs = std::filesystem;

namespace {

std::string track(std::string_view title) {
    return Id3Tag{3}.text("TIT2", title).bytes() + mpeg_frames(1);
}

class TreeWalk : public StoreFixture {
protected:
    void SetUp() override {
        StoreFixture::SetUp();
        settings_set(Setting::v, "4");
        log_open_file((logs_ / "log").c_str());
        flag_.set_running();
    }
    void TearDown() override {
        log_close();
        StoreFixture::TearDown();
    }

    void scan(const std::string& path, ScanRestriction restriction = {}) {
        FoundPlaylists playlists;
        scan_directory(path, flag_, restriction, playlists);
        scan_playlists(playlists, flag_);
    }
    bool logged(std::string_view text) const { return str_contains(read_whole_file(logs_ / "log"), text); }
    ObjectId id(std::string_view name) { return id_of(content_ / name); }
    bool known(std::string_view name) { return id(name) != kNoObject; }

    RunningFlag flag_;
    ScratchDirectory content_, logs_;
};

TEST_F(TreeWalk, PlaylistsWaitForTheFilesThatTheyName) {
    settings_set(Setting::compilationsdir, "mixes");
    // One list in front of its track and one behind it, whatever order the directory yields.
    for (const char* const name : {"a/l.m3u", "mixes/l.m3u", "z/l.m3u"}) content_.write(name, "../mixes/t.mp3\n");
    content_.write("mixes/t.mp3", Id3Tag{3}.text("TIT2", "t").text("TRCK", "7").bytes() + mpeg_frames(1));
    scan(content_.path());
    StoreLock lock;
    const MediaItem* const item = db_find_in_type(lock, content_ / "mixes/t.mp3", ObjectClass::music_track);
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->compilation, 1);
    EXPECT_EQ(item->track, 7);
    EXPECT_EQ(item->playlist.view(), "l");
    EXPECT_EQ(find(lock, {"Music", "Playlists", "l"})->child_count, 1);
}

TEST_F(TreeWalk, FilesGoToTheReaderOfTheirExtension) {
    for (const char* const name : {"a.mp3", "B.MP3", "c.d.mp3", "sub/e.mp3", "f.mp3.bak", "mp3", "g.txt", "h.avi"})
        content_.write(name, track("t"));
    scan(content_.path());
    EXPECT_EQ(db_count_all_tracks(), 4);
    EXPECT_EQ(db_count_all_videos(), 1);
    EXPECT_TRUE(known("B.MP3"));
    EXPECT_TRUE(known("sub/e.mp3"));
    EXPECT_NE(id_of(content_ / "h.avi", ObjectClass::movie), kNoObject);
    EXPECT_TRUE(logged("scanning " + content_.path() + "\n"));
    StoreLock lock;
    EXPECT_EQ(db_find_in_type(lock, content_ / "a.mp3", ObjectClass::music_track)->bitrate, 128);
}

TEST_F(TreeWalk, ARestrictionLeavesTheOtherTypesOut) {
    content_.write("a.mp3", track("t"));
    content_.write("b.avi");
    scan(content_.path(), ReaderType::video);
    EXPECT_EQ(db_count_all_tracks(), 0);
    EXPECT_EQ(db_count_all_videos(), 1);
    scan(content_.path(), ReaderType::picture);
    scan(content_.path(), ReaderType::music);
    EXPECT_EQ(db_count_all_tracks(), 1);
}

TEST_F(TreeWalk, IgnoredPartsOfAPathHideWhatLiesBelow) {
    settings_set(Setting::ignoredir, "appledouble,,/private/");
    for (const char* const name : {".AppleDouble/a.mp3", "Private/b.mp3", "my private/c.mp3", "d.AppleDouble.mp3"})
        content_.write(name, track("t"));
    scan(content_.path());
    EXPECT_EQ(db_count_all_tracks(), 1);
    EXPECT_TRUE(known("my private/c.mp3"));
}

TEST_F(TreeWalk, EveryDirectoryDecidesWhetherItIsACompilation) {
    settings_set(Setting::compilationsdir, "sampler");
    for (const char* const name : {"a.mp3", "Summer Sampler/b.mp3", "Summer Sampler/CD 1/c.mp3"})
        content_.write(name, track("t"));
    scan(content_.path());
    StoreLock lock;
    const auto compilation = [&](std::string_view name) {
        return db_find_in_type(lock, content_ / name, ObjectClass::music_track)->compilation;
    };
    EXPECT_EQ(compilation("a.mp3"), 0);
    EXPECT_EQ(compilation("Summer Sampler/b.mp3"), 1);
    EXPECT_EQ(compilation("Summer Sampler/CD 1/c.mp3"), 1);  // its own path holds the word, too
}

TEST_F(TreeWalk, ATrailingSlashDoublesInFilePathsButNotInFolders) {
    content_.write("a.mp3", track("t"));
    content_.write("sub/b.mp3", track("t"));
    scan(content_.path() + "/");
    EXPECT_NE(id_of(content_.path() + "//a.mp3"), kNoObject);
    EXPECT_NE(id_of(content_.path() + "/sub/b.mp3"), kNoObject);
}

TEST_F(TreeWalk, KnownFilesKeepTheirIdUntilTheyChange) {
    content_.write("a.mp3", track("old"));
    const auto set_time = [&](time_t when) {
        const timespec times[2] = {{when, 0}, {when, 0}};
        ASSERT_EQ(utimensat(AT_FDCWD, (content_ / "a.mp3").c_str(), times, 0), 0);
    };
    set_time(1'000'000'000);
    scan(content_.path());
    const ObjectId first = id("a.mp3");
    content_.write("a.mp3", track("same time"));
    set_time(1'000'000'000);
    scan(content_.path());
    EXPECT_EQ(id("a.mp3"), first);
    set_time(1'000'000'001);
    scan(content_.path());
    EXPECT_GT(id("a.mp3"), first);
    EXPECT_EQ(children({"Music", "All Tracks"}), std::vector<std::string>{"(same time)"});
    fs::remove(content_ / "a.mp3");
    db_begin_scan_pass();
    scan(content_.path());
    db_remove_vanished();
    EXPECT_EQ(db_count_all_tracks(), 0);
}

TEST_F(TreeWalk, TwentyOneLevelsAreRead) {
    std::string folder;
    for (int depth = 0; depth < 50; ++depth) {
        content_.write(folder + "a.mp3", track("t"));
        folder += "d/";
    }
    scan(content_.path());
    EXPECT_EQ(db_count_all_tracks(), 21);
    EXPECT_TRUE(logged("do not descend further\n"));
}

TEST_F(TreeWalk, LinksThatLeadBackAreNotFollowed) {
    content_.write("band/disc/a.mp3", track("t"));
    content_.write("other/b.mp3", track("t"));
    fs::create_directory_symlink("..", content_ / "band/disc/up");
    fs::create_directory_symlink(content_.path(), content_ / "band/top");
    fs::create_directory_symlink(".", content_ / "self");
    fs::create_directory_symlink("../other", content_ / "band/elsewhere");  // no loop: seen twice
    fs::create_symlink("c.mp3", content_ / "c.mp3");
    scan(content_.path());
    EXPECT_EQ(db_count_all_tracks(), 3);
    EXPECT_TRUE(known("band/elsewhere/b.mp3"));
    EXPECT_TRUE(logged("do not descend into "s + (content_ / "band/disc/up")));
    EXPECT_TRUE(logged("upnp_stat failed c.mp3\n"));
}

TEST_F(TreeWalk, ARequestedDirectoryBehindALoopIsNotEntered) {
    content_.write("band/a.mp3", track("t"));
    fs::create_directory_symlink("..", content_ / "band/up");
    const auto scan_below = [&](const char* below) {
        FoundPlaylists playlists;
        scan_directory({.text = {}, .content = content_.path(), .below = below, .restriction = {}}, flag_, playlists);
    };
    scan_below("band/up/band");
    scan_below("band/up");
    scan_below("gone");
    EXPECT_EQ(db_count_all_tracks(), 0);
    scan_below("band");
    EXPECT_EQ(db_count_all_tracks(), 1);
    EXPECT_TRUE(logged("[ERROR]DB:chdir failed "s + (content_ / "gone") + "\n"));
}

TEST_F(TreeWalk, OnlyRegularFilesAreRead) {
    ASSERT_EQ(mkfifo((content_ / "fifo.mp3").c_str(), 0600), 0);
    fs::create_symlink("/dev/zero", content_ / "zero.mp3");
    fs::create_directory(content_ / "folder.mp3");
    const int server = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    (content_ / "socket.mp3").copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(server, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    scan(content_.path());
    EXPECT_EQ(db_count_all_tracks(), 0);
    close(server);
}

TEST_F(TreeWalk, NamesOfEveryKindAreRead) {
    const std::string names[] = {"line\nfeed.mp3",
                                 "\"quotes\" & <marks>.mp3",
                                 "b\xFC"
                                 "cher.mp3",
                                 "<EOI>.mp3",
                                 " .mp3",
                                 ".mp3",
                                 std::string(251, 'n') + ".mp3",
                                 "%s%n.mp3"};
    for (const std::string& name : names) content_.write(name, track("t"));
    scan(content_.path());
    for (const std::string& name : names) EXPECT_TRUE(known(name)) << name;
}

TEST_F(TreeWalk, PathsThatCannotBeOpenedByNameAreLeftOut) {
    // Made level by level, because no call takes such a path.
    const std::string level(250, 'd');
    int at = open(content_.path().c_str(), O_RDONLY | O_DIRECTORY);
    std::string path = content_.path();
    while (path.size() + level.size() + 1 <= 4095 + 250) {
        ASSERT_EQ(mkdirat(at, level.c_str(), 0700), 0);
        const int below = openat(at, level.c_str(), O_RDONLY | O_DIRECTORY);
        close(std::exchange(at, below));
        path.append(1, '/').append(level);
        const int file = openat(at, "a.mp3", O_WRONLY | O_CREAT, 0600);
        ASSERT_GE(file, 0);
        close(file);
    }
    close(at);
    scan(content_.path());
    EXPECT_GE(db_count_all_tracks(), 15);
    EXPECT_TRUE(logged("[Problem]DB:path is too long, skipped: "));
    // The way back down, which the scratch directory could not go either.
    const std::string command = "cd '"s + content_.path() + "' && rm -rf d*";
    ASSERT_EQ(std::system(command.c_str()), 0);
}

TEST_F(TreeWalk, AFolderThatCannotBeReadIsLogged) {
    if (geteuid() == 0) GTEST_SKIP() << "root may read everything";
    content_.write("closed/a.mp3", track("t"));
    content_.write("unlisted/a.mp3", track("t"));
    content_.write("open/a.mp3", track("t"));
    fs::permissions(content_ / "closed", fs::perms::owner_read);
    fs::permissions(content_ / "unlisted", fs::perms::owner_exec);
    scan(content_.path());
    EXPECT_EQ(db_count_all_tracks(), 1);
    EXPECT_TRUE(logged("[ERROR]DB:chdir failed "s + (content_ / "closed") + "\n"));
    EXPECT_TRUE(logged("[ERROR]DB:opendir failed "s + (content_ / "unlisted") + "\n"));
    fs::permissions(content_ / "closed", fs::perms::owner_all);
    fs::permissions(content_ / "unlisted", fs::perms::owner_all);
}

TEST_F(TreeWalk, ProcIsNotRead) {
    scan("/proc");
    scan("/proc/self");
    EXPECT_TRUE(logged("DB:do not descend into /proc\n"));
    EXPECT_TRUE(logged("DB:do not descend into /proc/self\n"));
    EXPECT_FALSE(logged("scanning /proc/self/"));
}

TEST_F(TreeWalk, AStopEndsAScanThatWouldGoOnForHours) {
    // Two links to the next folder in each of twenty folders: a million ways through them.
    content_.write("00/first.mp3", track("t"));
    for (int i = 0; i < 20; ++i) {
        const auto name = [](int n) { return text_format(8, "%02d", n); };
        fs::create_directories(content_ / name(i));
        for (const char* const link : {"x", "y"})
            fs::create_directory_symlink("../"s + name(i + 1), content_ / (name(i) + "/" + link));
    }
    content_.write("20/last.mp3", track("t"));
    std::thread scanner{[&] { scan(content_ / "00"); }};
    while (db_count_all_tracks() < 2) std::this_thread::yield();
    const std::uint32_t asked = uptime_ms();
    flag_.ask_to_stop();
    scanner.join();
    EXPECT_LT(uptime_ms() - asked, 1000u);
}

}  // namespace
