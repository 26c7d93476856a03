#include "meta/itunes_thread.h"

#include <atomic>
#include <functional>

#include "support/itunes_builder.h"
#include "support/scratch.h"
#include "support/store_fixture.h"

namespace {

std::atomic<bool> begun{false};

class ITunesThread : public StoreFixture {
protected:
    static bool comes(const std::function<bool()>& condition) {
        const std::uint32_t start = uptime_ms();
        while (!condition()) {
            if (uptime_ms() - start > 30'000) return false;
            sleep_ms(2);
        }
        return true;
    }
    void SetUp() override {
        begun = false;
        StoreFixture::SetUp();
    }
    RunningFlag flag_;
};

TEST_F(ITunesThread, IsNotStartedWithoutALibrary) {
    itunes_start(flag_, [] { return true; });
    ipod_start(flag_, [] { return true; });
    EXPECT_TRUE(flag_.idle());
}

TEST_F(ITunesThread, ReadsTheLibraryWhenTheFirstScanIsOver) {
    ScratchDirectory ipod;
    ipod.write("Music/a.mp3");
    settings_set(
        Setting::ipoddb,
        ipod.write("iTunes/iTunesDB",
                   itunes_database({{.id = 1, .objects = {itunes_text(1, "A"), itunes_text(2, ":i:Music:a.mp3")}}},
                                   {{.objects = {itunes_text(1, "all")}, .ids = {1}},
                                    {.objects = {itunes_text(1, "L")}, .ids = {1}}})));
    static std::atomic<int> asked;
    asked = 0;
    ipod_start(flag_, [] {
        ++asked;
        return begun.load();
    });
    EXPECT_TRUE(flag_.running());
    ASSERT_TRUE(comes([] { return asked > 1; }));
    EXPECT_EQ(db_count_all_tracks(), 0);
    begun = true;
    EXPECT_TRUE(comes([] { return children({"Music", "Playlists", "L"}) == std::vector<std::string>{"(A)"}; }));
    flag_.ask_to_stop();
    EXPECT_TRUE(comes([this] { return flag_.idle(); }));
}

TEST_F(ITunesThread, EndsWhileItWaits) {
    settings_set(Setting::ituneslib, "/nowhere/lib.xml");
    itunes_start(flag_, [] { return false; });
    flag_.ask_to_stop();
    EXPECT_TRUE(comes([this] { return flag_.idle(); }));
}

}  // namespace
