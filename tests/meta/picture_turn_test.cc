// Whose picture is asked for, and whose is made next.
#include "handlers/picture_turn.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>

#include "handlers/picture_page.h"
#include "support/rows.h"
#include "support/sockets.h"

TEST(PictureUrl, NamesIdSizeModeAndSuffix) {
    for (const auto& [url, id, width, height, mode, suffix] :
         Rows<const char*, const char*, int, int, int, const char*>{
             {"/picture/17(160x120,1).jpg", "17", 160, 120, 1, ".jpg"},
             {"/picture/17.jpg(0160x 120,-1)", "17.jpg", 160, 120, -1, ""},
             {"/x/picture/folder(4097x0,99).tini.jpg", "folder", 4097, 0, 99, ".tini.jpg"},
         }) {
        const auto parsed = picture_parse_url(url);
        ASSERT_TRUE(parsed) << url;
        EXPECT_EQ(std::tuple(parsed->id_text, parsed->width, parsed->height, parsed->mode, parsed->suffix),
                  std::tuple(id, width, height, mode, suffix));
    }
    for (const char* none :
         {"/disk/17(1x1,1)", "/picture/17", "/picture/17(1x1)", "/picture/17(1,1)", "/picture/17(1x1,1"})
        EXPECT_FALSE(picture_parse_url(none)) << none;
}

TEST(PictureTurn, IsForClientsThatAreThere) {
    constexpr std::int64_t kAllMemory = 256 * 1024 * 1024;
    ConnectedSockets idle, there, gone, ended, ended_too;
    gone.far.close();
    for (const ConnectedSockets* each : {&ended, &ended_too}) shutdown(each->far.fd(), SHUT_WR);
    const auto take = [](const ConnectedSockets& sockets, std::int64_t bytes) {
        return picture_take_turn(sockets.near.fd(), bytes);
    };
    const auto waits = [&](const ConnectedSockets& sockets) {
        return std::async(std::launch::async, [&] { return take(sockets, 1).has_value(); });
    };
    EXPECT_FALSE(take(gone, 0));

    auto unread = take(idle, kAllMemory);
    ASSERT_TRUE(unread);
    unread->scaling.give_back();
    auto first = waits(ended), second = waits(ended_too);
    EXPECT_EQ(first.wait_for(std::chrono::milliseconds{50}), std::future_status::timeout);
    EXPECT_TRUE(take(ended_too, 0)) << "nobody waits that surely is there";
    unread.reset();
    EXPECT_TRUE(first.get() && second.get());

    unread = take(idle, kAllMemory);
    unread->scaling.give_back();
    auto third = waits(there);
    EXPECT_FALSE(take(ended, 1)) << "others wait";
    auto small = take(there, 0), small_too = take(there, 0);
    EXPECT_TRUE(small && small_too) << "who waits for memory has no turn yet";
    unread.reset();
    EXPECT_FALSE(take(ended, 0)) << "nor where there is a turn at once";
    small.reset();
    EXPECT_TRUE(third.get());
}
