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

TEST(FileSending, CopiesWhereTheSystemCannotSendFiles) {
    const ScratchDirectory directory;
    const std::string content = numbered_bytes(50'000);
    const File file = file_open_regular(directory.write("a.bin", content));
    SocketPair sockets;
    // Linux refuses to send files to a descriptor in append mode, as it does for some file systems.
    ASSERT_EQ(fcntl(sockets.server, F_SETFL, O_APPEND), 0);
    FileSender sender{sockets.server, file, 100};
    EXPECT_EQ(sender.send(20'000), 20'000);
    EXPECT_EQ(sender.send(100'000), 29'900);
    EXPECT_EQ(sender.send(1), 0);
    EXPECT_EQ(receive_up_to(sockets.client, 49'900), content.substr(100));
}

}  // namespace
