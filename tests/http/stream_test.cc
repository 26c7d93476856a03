#include "handlers/stream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <string>

#include "core/process.h"
#include "db/upkeep.h"
#include "handlers/now_playing.h"
#include "handlers/playlist_page.h"
#include "support/handler_call.h"
#include "support/scratch.h"
#include "support/store_fixture.h"
#include "upnp/clients.h"

namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr std::string_view kOk = "HTTP/1.1 200 OK";
constexpr std::string_view kPartial = "HTTP/1.1 206 Partial Content";
constexpr std::string_view kNotFound = "HTTP/1.1 404 Not Found";

std::string thousand_bytes() {
    std::string text;
    for (int i = 0; i < 1000; ++i) text += static_cast<char>(i * 7 % 251);
    return text;
}

class Streaming : public StoreFixture {
protected:
    void SetUp() override {
        ignore_broken_pipes();
        clients_reset();
        now_playing_reset();
        StoreFixture::SetUp();
    }

    // A media file of the store; its bitrate is known when it has a duration.
    ObjectId add(const std::string& name, std::string_view content, std::string_view duration = {},
                 ObjectClass type = ObjectClass::music_track) {
        const std::string path = directory_.write(name, content);
        EXPECT_EQ(db_add_item({.media_class = type,
                               .path = path,
                               .duration = std::string{duration},
                               .bitrate = duration.empty() ? 0 : 128}),
                  AddResult::added);
        return id_of(path, type);
    }
    static std::int32_t plays(ObjectId id) {
        const StoreLock lock;
        return item_of(lock, tree_object(lock, id))->play_count;
    }
    static std::string disk(ObjectId id, std::string_view rest = ".mp3") {
        return "/disk/" + std::to_string(id) + std::string{rest};
    }
    static HandlerAnswer get(std::string_view url, std::string_view lines = {}) {
        return call_handler(handle_disk, url, lines);
    }

    ScratchDirectory directory_;
    const std::string bytes_ = thousand_bytes();
};

// ---- ranges

constexpr auto kClosed = HandlerResult::close;
TEST_F(Streaming, RangesOfAThousandBytes) {
    struct {
        const char *name, *lines;
        std::string_view status;
        const char *content_range, *length;
        std::size_t first, count;  // of the bytes that arrive
        HandlerResult result = HandlerResult::keep;
    } const rows[] = {
        {"last_is_the_size", "Range: bytes=0-1000\r\n", kPartial, "bytes 0-1000/1000", "1001", 0, 1000, kClosed},
        {"last_beyond_the_end", "Range: bytes=990-1001\r\n", kPartial, "bytes 990-999/1000", "10", 990, 10},
        {"first_is_the_size", "Range: bytes=1000-\r\n", kPartial, "bytes 1000-999/1000", "0", 0, 0},
        {"first_and_last_are_the_size", "Range: bytes=1000-1000\r\n", kPartial, "bytes 1000-1000/1000", "1", 0, 0,
         kClosed},
        {"largest_number", "Range: bytes=9223372036854775807-\r\n", kPartial, "bytes 9223372036854775807-999/1000",
         "(none)", 0, 0, kClosed},
        // The play time is 10 s, so a millisecond counts as 100 bytes.
        {"time_seek_with_end", "TimeSeekRange.dlna.org: npt=0.002-0.004\r\n", kOk, "bytes 200-400/1000", "201", 200,
         201},
        {"time_seek_by_seconds", "TimeSeekRange.dlna.org: npt=5-\r\n", kOk, "bytes 500000-999/1000", "(none)", 0, 0,
         kClosed},
    };
    const ObjectId id = add("a.mp3", bytes_, "0:00:10");
    for (const auto& c : rows) {
        SCOPED_TRACE(c.name);
        const HandlerAnswer answer = get(disk(id), c.lines);
        EXPECT_EQ(answer.status_line, c.status);
        EXPECT_EQ(answer.header("Content-Range"), c.content_range);
        EXPECT_EQ(answer.header("Content-Length"), c.length);
        EXPECT_EQ(answer.header("Content-Type"), "audio/mpeg");
        EXPECT_EQ(answer.body, bytes_.substr(c.first, c.count));
        EXPECT_EQ(answer.result, c.result);
    }
}

TEST_F(Streaming, OddRangesNeverAnnounceOrSendNonsense) {
    const ObjectId untimed = add("untimed.mp3", bytes_);
    const ObjectId longer_than_large = add("tiny.mp3", "xy", "9:00:00");
    const ObjectId empty = add("empty.mp3", "", "0:00:10");
    const char* const odd[] = {
        "Range: bytes=0-9223372036854775807\r\n",
        "Range: bytes=-\r\n",
        "Range: bytes=0-\r\n",
        "TimeSeekRange.dlna.org: npt=999999999:00:00-999999999:00:01\r\n",
        "X-Seek-Range: npt=92233720368547758.07-\r\n",
    };
    for (const ObjectId id : {untimed, longer_than_large, empty}) {
        for (const char* lines : odd) {
            SCOPED_TRACE(std::to_string(id) + " " + lines);
            const HandlerAnswer answer = get(disk(id), lines);
            EXPECT_THAT(answer.status_line, AnyOf(kOk, kPartial));
            if (id != empty) {
                EXPECT_THAT(answer.header("Content-Range"), Not(AnyOf(HasSubstr("--"), HasSubstr(" -"))));
            }
            const std::string length = answer.header("Content-Length");
            EXPECT_THAT(length, Not(StartsWith("-")));
            if (length == "(none)") {
                EXPECT_EQ(answer.body, "");
                EXPECT_EQ(answer.result, HandlerResult::close);
            } else {
                EXPECT_LE(answer.body.size(), std::stoull(length));
                EXPECT_EQ(answer.result == HandlerResult::keep, answer.body.size() == std::stoull(length));
            }
        }
    }
}

// ---- what the answer says besides

TEST_F(Streaming, LinearPcmIsLabelledByWhatThePathTells) {
    const std::pair<const char*, const char*> cases[] = {
        {"plain.mp3", "audio/L16;rate=44100;channels=2"},
        {"48/stereo.mp3", "audio/L16;rate=48000;channels=2"},
        {"48/Mono.mp3", "audio/L16;rate=48000;channels=1"},
    };
    for (const auto& [name, label] : cases) {
        // The scratch directory's own name is part of the path and must not decide.
        if (directory_.path().find("48") != std::string::npos || directory_.path().find("Mono") != std::string::npos)
            GTEST_SKIP() << "unlucky directory name";
        const ObjectId id = add(name, bytes_);
        EXPECT_EQ(get(disk(id, ".lpcm")).header("Content-Type"), label) << name;
    }
    EXPECT_EQ(get(disk(add("a.unknown", bytes_), ".unknown")).header("Content-Type"), "application/octet-stream");
}

TEST_F(Streaming, DlnaHeadersAnswerThoseWhoAsk) {
    const ObjectId song = add("a.mp3", bytes_);
    const ObjectId film = add("b.ntsc.mpg", bytes_, {}, ObjectClass::movie);
    const ObjectId photo = add("c.jpg", bytes_, {}, ObjectClass::photo);
    const char* const ask = "getcontentFeatures.dlna.org: 1\r\n";
    struct {
        ObjectId id;
        const char *lines, *mode, *features;
    } const cases[] = {
        {song, "", "(none)", "(none)"},
        {song, ask, "(none)", "DLNA.ORG_OP=11"},
        {film, ask, "(none)", "DLNA.ORG_PN=MPEG_PS_NTSC;DLNA.ORG_OP=00"},
        {photo, ask, "(none)", "*"},
        {song, "transferMode.dlna.org: Streaming\r\n", "Streaming", "(none)"},
        {song, "transferMode.dlna.org: Interactive\r\n", "(none)", "(none)"},
        {photo, "transferMode.dlna.org: Interactive\r\n", "Interactive", "(none)"},
        {photo, "TRANSFERMODE.DLNA.ORG: background\r\n", "Background", "(none)"},
        {photo, "transferMode.dlna.org: Streaming\r\n", "(none)", "(none)"},
    };
    for (const auto& c : cases) {
        const HandlerAnswer answer = get(disk(c.id), c.lines);
        EXPECT_EQ(answer.header("transferMode.dlna.org"), c.mode) << c.lines;
        EXPECT_EQ(answer.header("contentFeatures.dlna.org"), c.features) << c.lines;
    }
}

TEST_F(Streaming, IndexFilesComeFromTheirDirectory) {
    const ObjectId id = add("film.avi", bytes_, {}, ObjectClass::movie);
    EXPECT_EQ(get(disk(id, ".idx")).body, bytes_) << "without the setting the film itself is sent";

    directory_.write("idx/film.avi.idx", "the index");
    settings_set(Setting::idxdir, directory_ / "idx");
    EXPECT_EQ(idx_path_for("/a.avi"), directory_ / "idx/") << "a leading slash does not count";
    const HandlerAnswer answer = get(disk(id, ".idx"));
    EXPECT_EQ(answer.body, "the index");
    EXPECT_EQ(answer.header("Content-Type"), "application/octet-stream");
    EXPECT_EQ(get(disk(id, ".IDX")).body, bytes_);
    const ObjectId without = add("other.avi", bytes_, {}, ObjectClass::movie);
    EXPECT_EQ(get(disk(without, ".idx")).status_line, kNotFound);
    EXPECT_EQ(plays(without), 0);
}

// ---- what is not there

TEST_F(Streaming, WhatIsNotAnItemIsNotFoundAndNotPlayed) {
    const ObjectId id = add("a.mp3", bytes_);
    const ObjectId gone = add("gone.mp3", bytes_);
    db_remove_file(directory_ / "gone.mp3");
    const ObjectId vanished = add("vanished.mp3", bytes_);
    std::filesystem::remove(directory_ / "vanished.mp3");
    const ObjectId pipe = add("pipe.mp3", bytes_);
    std::filesystem::remove(directory_ / "pipe.mp3");
    ASSERT_EQ(mkfifo((directory_ / "pipe.mp3").c_str(), 0600), 0);
    EXPECT_EQ(db_add_item({.path = "http://radio.example/a.mp3"}), AddResult::added);
    const ObjectId remote = id_of("http://radio.example/a.mp3");
    for (const std::string& text : {std::to_string(id) + "abc", std::to_string(gone), std::to_string(vanished),
                                    std::to_string(pipe), std::to_string(remote)}) {
        EXPECT_EQ(get("/disk/" + text + ".mp3").status_line, kNotFound) << text;
        EXPECT_EQ(call_handler(handle_continue, "/continue/" + text + "_0.mp3").status_line, kNotFound) << text;
    }
    for (const ObjectId unplayed : {id, vanished, pipe, remote}) EXPECT_EQ(plays(unplayed), 0);
    EXPECT_EQ(call_handler(handle_m3u, "/m3u/" + std::to_string(id) + ".m3u").status_line, kNotFound);
    EXPECT_EQ(get("/diskette").result, HandlerResult::close);
}

// ---- continued

TEST_F(Streaming, ContinuesAtTheOffsetOfTheUrl) {
    struct {
        const char* name;
        std::string rest;  // behind "/continue/ID"
        std::string lines;
        const char* content_range;
    } const rows[] = {
        {"own_range_in_lower_case", "_500.mp3", "range: bytes=1-2\r\n", "bytes 500-999/1000"},
        {"own_seek_range", "_500.mp3", "X-Seek-Range: npt=0.001-\r\n", "bytes 500-999/1000"},
        {"header_without_end", "_500.mp3", "X-Filler: " + std::string(2000, 'x'), "bytes 500-999/1000"},
        {"no_offset", ".mp3", "", "bytes 0-999/1000"},
        {"no_number", "_abc.mp3", "Range: bytes=1-2\r\n", "bytes 0-999/1000"},
        {"number_without_end", "_" + std::string(230, '9'), "", "bytes 9223372036854775807-999/1000"},
    };
    const ObjectId id = add("a.mp3", bytes_, "0:00:10");
    for (const auto& c : rows) {
        SCOPED_TRACE(c.name);
        const HandlerAnswer answer = call_handler(handle_continue, "/continue/" + std::to_string(id) + c.rest, c.lines);
        EXPECT_EQ(answer.status_line, kPartial);
        EXPECT_EQ(answer.header("Content-Range"), c.content_range);
    }
    EXPECT_EQ(plays(id), static_cast<int>(std::size(rows)));

    const ObjectId empty = add("empty.mp3", "");
    const HandlerAnswer answer = call_handler(handle_continue, "/continue/" + std::to_string(empty) + "_0.mp3");
    EXPECT_EQ(answer.status_line, kPartial);
    EXPECT_EQ(answer.header("Content-Range"), "bytes 0--1/0");
    EXPECT_EQ(answer.header("Content-Length"), "0");
    EXPECT_EQ(answer.result, HandlerResult::keep);
}

TEST_F(Streaming, AMusicClientReceivesEveryByteAndIsPaused) {
    // 20 bytes a second, so the clock is looked at every 20 kilobytes; the half kilobyte behind that makes one pause.
    settings_set(Setting::musicclient, "192.0.2.7");
    const std::string content(21'000, 'x');
    const ObjectId id = add("a.mp3", content, "0:17:40");
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(get(disk(id)).body, content);
    const auto paused = std::chrono::steady_clock::now() - before;
    // 20480 bytes are 1024 s of sound, which asks for 1024 - 102 - 100 ms; a slow transfer shortens the pause by less
    // than it took itself.
    EXPECT_GT(paused, std::chrono::milliseconds{800});
}

}  // namespace
