#include "scan/scanner.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

#include "support/asf_builder.h"
#include "support/http_peer.h"
#include "support/mp3_builder.h"
#include "support/scratch.h"
#include "support/store_fixture.h"

namespace {

class Scanner : public StoreFixture {
protected:
    void configure() override {
        settings_set(Setting::contentdir, content_ / "one" + "," + content_ / "two");
        for (const char* const name : {"one/a.mp3", "two/b.mp3", "two/sub/c.mp3"}) content_.write(name, mpeg_frames(1));
    }
    void TearDown() override {
        flag_.ask_to_stop();
        EXPECT_TRUE(comes([&] { return flag_.idle(); }));
        StoreFixture::TearDown();
    }

    // Polls for what the scanner thread does.
    static bool comes(const std::function<bool()>& condition) { return holds_within(30'000, condition); }

    ScratchDirectory content_;
    RunningFlag flag_, watched_;
};

TEST_F(Scanner, WaitsForThePersistenceReaderAndEndsMeanwhile) {
    watched_.set_running();
    scan_start(flag_, &watched_);
    EXPECT_TRUE(flag_.running());
    flag_.ask_to_stop();
    EXPECT_TRUE(comes([&] { return flag_.idle(); }));
    EXPECT_EQ(db_count_all_tracks(), 0);
    scan_start(flag_, &watched_);
    watched_.clear();
    EXPECT_TRUE(comes([] { return db_count_all_tracks() == 3; }));
}

TEST_F(Scanner, CountsDownToTheNextPass) {
    settings_set(Setting::scantime, "7");
    scan_start(flag_, nullptr);
    EXPECT_TRUE(comes([] { return scan_status().seconds_to_next == 420; }));
    EXPECT_FALSE(scan_status().scanning);
}

TEST_F(Scanner, ARescanFindsWhatIsNewAndForgetsWhatIsGone) {
    settings_set(Setting::scantime, "0");  // only on request
    scan_start(flag_, &watched_);
    ASSERT_TRUE(comes([] { return db_count_all_tracks() == 3 && scan_status().seconds_to_next == 10; }));
    std::filesystem::remove(content_ / "one/a.mp3");
    content_.write("one/new.mp3", mpeg_frames(1));
    content_.write("two/sub/new.mp3", mpeg_frames(1));

    EXPECT_EQ(scan_request_rescan(content_ / "elsewhere"), RescanAnswer::invalid);
    EXPECT_EQ(scan_request_rescan(content_ / "two/sub"), RescanAnswer::initiated);
    // Vanished files go after every pass, new ones come only from the requested directory.
    EXPECT_TRUE(comes([&] { return id_of(content_ / "one/a.mp3") == kNoObject; }));
    EXPECT_NE(id_of(content_ / "two/sub/new.mp3"), kNoObject);
    EXPECT_EQ(id_of(content_ / "one/new.mp3"), kNoObject);

    EXPECT_TRUE(comes([] { return scan_request_rescan("") == RescanAnswer::initiated; }));
    EXPECT_TRUE(comes([&] { return id_of(content_ / "one/new.mp3") != kNoObject; }));
}

TEST_F(Scanner, PlaylistsMayNameFilesOfALaterDirectory) {
    content_.write("one/l.m3u", content_ / "two/d.wma" + "\n");
    content_.write("two/d.wma", AsfHead{}.description("From its tag", "Artist").bytes());
    flag_.set_running();
    scan_all(flag_);
    EXPECT_EQ(children({"Music", "Playlists", "l"}), std::vector<std::string>{"(From its tag)"});
    flag_.clear();
}

}  // namespace
