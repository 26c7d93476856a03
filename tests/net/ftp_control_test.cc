#include "net/ftp_control.h"

#include <gtest/gtest.h>

#include <string>

#include "support/http_peer.h"

namespace {

struct LoginCase {
    const char* url;
    Text user;
    const char* password;
    Text path;
};
TEST(FtpUrl, NamesUserPasswordAndPath) {
    constexpr const char* kGuest = "anonymous@pelorama.invalid";
    for (const LoginCase& row : {LoginCase{"ftp://h/dir/file.mp3", "anonymous", kGuest, "/dir/file.mp3"},
                                 {"ftp://joe:pw@h:2121/a b", "joe", "pw", "/a b"},
                                 {"ftp://joe@h/", "joe", kGuest, "/"},
                                 {"ftp://joe:@h/", "joe", "", "/"},
                                 {"ftp://joe:p:w@h/", "joe", "p:w", "/"},
                                 {"ftp://@h/a", std::nullopt, kGuest, "/a"},
                                 {"ftp://h", "anonymous", kGuest, std::nullopt},
                                 {"ftp://h/a@b", "h/a", kGuest, "/a@b"},
                                 {"@", std::nullopt, kGuest, std::nullopt}}) {
        EXPECT_EQ(ftp_user_from_url(row.url), row.user) << row.url;
        EXPECT_EQ(ftp_password_from_url(row.url), row.password) << row.url;
        EXPECT_EQ(ftp_path_from_url(row.url), row.path) << row.url;
    }
    EXPECT_TRUE(ftp_is_sendable("ftp://h/a b\xC3\xA9"));
    for (const std::string_view bad : {"a\rb", "a\nDELE x", "a\x7f"}) EXPECT_FALSE(ftp_is_sendable(bad));
}

TEST(FtpReply, NamesASize) {
    EXPECT_EQ(ftp_reply_size("213 1073741824\r\n"), 1073741824);
    EXPECT_EQ(ftp_reply_size("213  5000000000"), 5'000'000'000);
    for (const char* none : {"213 ", "213 -5", "213 big", "", "550 5"}) EXPECT_EQ(ftp_reply_size(none), std::nullopt);
}

struct PassiveCase {
    const char* reply;
    std::optional<std::array<std::uint8_t, 6>> numbers;
};
TEST(FtpReply, NamesAPassiveAddress) {
    constexpr std::array<std::uint8_t, 6> kExpected = {10, 0, 0, 5, 19, 137};
    for (const PassiveCase& row : {PassiveCase{"227 Entering Passive Mode (10,0,0,5,19,137).\r\n", kExpected},
                                   {"227 =10,0,0,5,19,137", kExpected},
                                   {"227 ok (10, 0, 0, 5, 19, 137)", kExpected},
                                   {"227 ok (10,0,0,5,19,256)", std::nullopt},
                                   {"227 ok (999999999999,0,0,5,19,1)", std::nullopt},
                                   {"227 ok (10,0,0,5,19)", std::nullopt},
                                   {"227 ok (10,0,,5,19,1)", std::nullopt},
                                   {"227 ok (10,0,-1,5,19,1)", std::nullopt},
                                   {"227 ,", std::nullopt},
                                   {",", std::nullopt},
                                   {"227 Entering Passive Mode", std::nullopt}}) {
        EXPECT_EQ(ftp_reply_passive(row.reply), row.numbers) << row.reply;
    }
}

struct ReplyCase {
    const char* name;
    std::string sent;
    int code;
    std::string text;
    std::string rest = {};
};
class FtpReplies : public testing::TestWithParam<ReplyCase> {};

TEST_P(FtpReplies, EndWithThreeDigitsAndABlank) {
    PeerPair sockets;
    ASSERT_TRUE(sockets.far.send(GetParam().sent));
    sockets.far.end_sending();
    FtpReply reply;
    EXPECT_EQ(ftp_command(sockets.near.fd(), {}, &reply), GetParam().code);
    EXPECT_EQ(reply.text, GetParam().text);
    EXPECT_EQ(reply.rest, GetParam().rest);
}

INSTANTIATE_TEST_SUITE_P(Net, FtpReplies,
                         testing::ValuesIn<ReplyCase>({
                             {"one_line", "220 ready\r\n", 220, "220 ready\r\n"},
                             {"several_lines", "220-a\r\n 220 b\r\n220-c\r\n220 d\r\n", 220,
                              "220-a\r\n 220 b\r\n220-c\r\n220 d\r\n"},
                             {"two_at_once", "150 a\r\n226 b\r\n", 150, "150 a\r\n", "226 b\r\n"},
                             {"without_line_end", "226 b", 226, "226 b"},
                             {"line_feed_alone", "226 b\n", 226, "226 b\n"},
                             {"too_short", "226 ", 0, ""},
                             {"no_reply", "hello\r\n22 x y\r\n2260 y\r\n", 0, ""},
                             {"nothing", "", 0, ""},
                             // A line that no buffer holds is dropped, and what follows it is looked at.
                             {"long_line", std::string(5000, 'x') + "\r\n226 done\r\n", 226,
                              std::string(5000 - 4 * 1023, 'x') + "\r\n226 done\r\n"},
                         }),
                         [](const auto& row) { return std::string{row.param.name}; });

TEST(FtpCommand, IsSentAndForgetsWhatCameUnasked) {
    PeerPair sockets;
    FtpReply reply{.text = "old", .rest = "500 stale\r\n"};
    ASSERT_TRUE(sockets.far.send("200 ok\r\n"));
    EXPECT_EQ(ftp_command(sockets.near.fd(), "TYPE I\r\n", &reply), 200);
    EXPECT_EQ(sockets.far.read_until("\n"), "TYPE I\r\n");
    reply.rest = "226 done\r\n";
    EXPECT_EQ(ftp_command(sockets.near.fd(), {}, &reply), 226);
    EXPECT_EQ(ftp_command(sockets.near.fd(), {}, nullptr), 0);
}

TEST(FtpCommand, WaitsForTheRestOfALine) {
    PeerPair sockets;
    ASSERT_TRUE(sockets.far.send("227 E"));
    std::thread late{[&] { sockets.far.send("ntering (1,2,3,4,5,6)\r\n"); }};
    FtpReply reply;
    EXPECT_EQ(ftp_command(sockets.near.fd(), {}, &reply), 227);
    late.join();
    EXPECT_TRUE(ftp_reply_passive(reply.text));
}

TEST(FtpCommand, GivesASilentServerUpUnlessTheFileIsOnItsWay) {
    PeerPair sockets;
    FtpReply reply;
    EXPECT_EQ(ftp_command(sockets.near.fd(), {}, &reply, 10), 0);
    int looks = 0;
    const FtpBusy busy = [&] {
        if (++looks == 3) sockets.far.send("226 done\r\n");
        return looks < 5;
    };
    EXPECT_EQ(ftp_command(sockets.near.fd(), {}, &reply, 10, busy), 226);
}

TEST(FtpCommand, GivesEndlessRepliesUp) {
    PeerPair sockets;
    std::thread endless{[&] {
        while (sockets.far.send("220-more and more\r\n")) {
        }
    }};
    FtpReply reply;
    EXPECT_EQ(ftp_command(sockets.near.fd(), {}, &reply), 0);
    sockets.near.close();
    endless.join();
}

}  // namespace
