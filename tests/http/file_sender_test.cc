#include "http/file_sender.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include "support/scratch.h"
#include "support/sockets.h"

TEST(FileSending, CopiesWhereTheSystemCannotSendFiles) {
    std::string content;
    while (content.size() < 50'000) content += std::to_string(content.size()) + ",";
    content.resize(50'000);
    const ScratchDirectory directory;
    const File file = file_open_regular(directory.write("a.bin", content));
    ConnectedSockets sockets;
    // Linux refuses to send files to a descriptor in append mode, as it does for some file systems.
    ASSERT_EQ(fcntl(sockets.near.fd(), F_SETFL, O_APPEND), 0);
    FileSender sender{sockets.near.fd(), file, 100};
    EXPECT_EQ(sender.send(20'000), 20'000);
    EXPECT_EQ(sender.send(100'000), 29'900);
    EXPECT_EQ(sender.send(1), 0);
    sockets.near.close();
    EXPECT_EQ(read_to_end(sockets.far), content.substr(100));
}
