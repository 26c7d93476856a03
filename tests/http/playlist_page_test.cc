#include "http/playlist_page.h"

#include <gtest/gtest.h>

#include <string>

#include "core/settings.h"
#include "db/add_item.h"
#include "db/store.h"
#include "support/handler_call.h"

namespace {

class PlaylistPage : public testing::Test {
protected:
    void SetUp() override {
        settings_set_defaults();
        db_create();
        db_add_item({.title = "Song", .path = "http://a.example/a.mp3"});
        const StoreLock lock;
        all_tracks_ = store(lock).all_tracks->id;
        song_ = db_find_in_type(lock, "http://a.example/a.mp3", ObjectClass::music_track)->id;
    }
    void TearDown() override {
        db_destroy();
        settings_free_all();
    }

    ObjectId all_tracks_ = kNoObject, song_ = kNoObject;
};

TEST_F(PlaylistPage, ListsTheTracksOfAContainer) {
    const std::string url = "/m3u/" + std::to_string(all_tracks_) + ".m3u";
    const std::string text = "#EXTM3U\r\nhttp://127.0.0.1:9000/disk/" + std::to_string(song_) + ".mp3\r\n";
    const HandlerAnswer answer = call_handler(m3u_handler, url);
    EXPECT_EQ(answer.status_line, "HTTP/1.1 200 OK");
    EXPECT_EQ(answer.header("Content-Type"), "audio/x-mpegurl");
    EXPECT_EQ(answer.header("Content-Length"), std::to_string(text.size()));
    EXPECT_EQ(answer.body, text);
    EXPECT_EQ(answer.result, HandlerResult::keep);
    EXPECT_EQ(call_handler(m3u_handler, url, "", kHead).body, "");
}

TEST_F(PlaylistPage, WhatIsNoContainerIsNotFound) {
    const std::string ids[] = {
        std::to_string(song_), std::to_string(all_tracks_) + "abc", "-1", "99999999999999999999", "4711", ""};
    for (const std::string& id : ids)
        EXPECT_EQ(call_handler(m3u_handler, "/m3u/" + id + ".m3u").status_line, "HTTP/1.1 404 Not Found") << id;
    EXPECT_EQ(call_handler(m3u_handler, "/m3ux").status_line, "HTTP/1.1 500 Internal Server Error");
}

}  // namespace
