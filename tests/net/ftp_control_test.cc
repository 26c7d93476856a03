#include "net/ftp_control.h"

#include <gtest/gtest.h>

#include "support/rows.h"
#include "support/sockets.h"

namespace {

TEST(FtpUrl, NamesUserPasswordAndPath) {
    constexpr const char* kGuest = "anonymous@pelorama.invalid";
    for (const auto& [url, user, password, path] : Rows<const char*, Text, const char*, Text>{
             {"ftp://joe@h/", "joe", kGuest, "/"},
             {"ftp://joe:@h/", "joe", "", "/"},
             {"ftp://joe:p:w@h/", "joe", "p:w", "/"},
             {"ftp://@h/a", std::nullopt, kGuest, "/a"},
             {"ftp://h/a@b", "h/a", kGuest, "/a@b"},  // kept on purpose
             {"@", std::nullopt, kGuest, std::nullopt},
         }) {
        EXPECT_EQ(ftp_user_from_url(url), user) << url;
        EXPECT_EQ(ftp_password_from_url(url), password) << url;
        EXPECT_EQ(ftp_path_from_url(url), path) << url;
    }
    for (const std::string_view bad : {"a\rb", "a\nDELE x", "a\x7f"}) EXPECT_FALSE(ftp_is_sendable(bad));
}

TEST(FtpReply, NamesASizeAndAPassiveAddress) {
    EXPECT_EQ(ftp_reply_size("213  5000000000\r\n"), 5'000'000'000);
    for (const char* none : {"213 ", "213 -5", "", "550 5"}) EXPECT_EQ(ftp_reply_size(none), std::nullopt);
    constexpr std::array<std::uint8_t, 6> kExpected = {10, 0, 0, 5, 19, 137};
    for (const char* reply : {"227 =10,0,0,5,19,137", "227 ok (10, 0, 0, 5, 19, 137)"})
        EXPECT_EQ(ftp_reply_passive(reply), kExpected);
    for (const char* none : {"227 ok (10,0,0,5,19,256)", "227 ok (999999999999,0,0,5,19,1)", "227 ok (10,0,0,5,19)",
                             "227 ok (10,0,,5,19,1)", "227 ok (10,0,-1,5,19,1)", "227 ,", ","})
        EXPECT_EQ(ftp_reply_passive(none), std::nullopt) << none;
}

TEST(FtpReply, EndsWithThreeDigitsAndABlank) {
    for (const auto& [sent, code, text, rest] : Rows<std::string, int, std::string, std::string>{
             {"220-a\r\n 220 b\r\n220-c\r\n220 d\r\n", 220, "220-a\r\n 220 b\r\n220-c\r\n220 d\r\n", ""},
             {"150 a\r\n226 b\r\n", 150, "150 a\r\n", "226 b\r\n"},
             {"226 b", 226, "226 b", ""},
             {"226 ", 0, "", ""},
             {"hello\r\n22 x y\r\n2260 y\r\n", 0, "", ""},
             // A line that no buffer holds is dropped, and what follows it is looked at.
             {std::string(5000, 'x') + "\r\n226 done\r\n", 226, std::string(5000 - 4 * 1023, 'x') + "\r\n226 done\r\n",
              ""},
         }) {
        FtpReply reply;
        EXPECT_EQ(ftp_command(fed_socket(sent).fd(), {}, &reply), code);
        EXPECT_EQ(std::pair(reply.text, reply.rest), std::pair(text, rest)) << sent.substr(0, 50);
    }
}

TEST(FtpReply, OfASilentServerIsGivenUpUnlessTheFileIsOnItsWay) {
    const ConnectedSockets sockets;
    FtpReply reply{.text = "old", .rest = "500 stale\r\n"};
    EXPECT_EQ(ftp_command(sockets.near.fd(), "TYPE I\r\n", &reply, 10), 0) << "what came unasked is forgotten";
    int looks = 0;
    const FtpBusy busy = [&] {
        if (++looks == 2) socket_send_all(sockets.far.fd(), "22");
        if (looks == 3) socket_send_all(sockets.far.fd(), "6 done\r\n");  // a line comes in two parts
        return looks < 5;
    };
    EXPECT_EQ(ftp_command(sockets.near.fd(), {}, &reply, 10, busy), 226);
    EXPECT_EQ(reply.text, "226 done\r\n");
}

}  // namespace
