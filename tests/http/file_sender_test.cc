#include "http/file_sender.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <string>

#include "support/handler_call.h"
#include "support/scratch.h"

namespace {

std::string numbered_bytes(std::size_t count) {
    std::string text;
    while (text.size() < count) text += std::to_string(text.size()) + ",";
    return text.substr(0, count);
}

class FileSending : public testing::Test {
protected:
    ScratchDirectory directory_;
    const std::string content_ = numbered_bytes(50'000);
    const File file_ = file_open_regular(directory_.write("a.bin", content_));
    SocketPair sockets_;
};

TEST_F(FileSending, CopiesWhereTheSystemCannotSendFiles) {
    // Linux refuses to send files to a descriptor in append mode, as it does for some file systems.
    ASSERT_EQ(fcntl(sockets_.server, F_SETFL, O_APPEND), 0);
    FileSender sender{sockets_.server, file_, 100};
    EXPECT_EQ(sender.send(20'000), 20'000);
    EXPECT_EQ(sender.send(100'000), 29'900);
    EXPECT_EQ(sender.send(1), 0);
    EXPECT_EQ(receive_up_to(sockets_.client, 49'900), content_.substr(100));
}

}  // namespace
