// How fast and by what means files go out.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits>

#include "handlers/pacing.h"
#include "http/file_sender.h"
#include "support/rows.h"
#include "support/scratch.h"
#include "support/sockets.h"

namespace {

constexpr std::int64_t kHuge = std::numeric_limits<std::int64_t>::max();

TEST(Pacing, TheRateIsTheFilesOwn) {
    EXPECT_EQ(pacing_rate(4'000'000, 250), 16'001);
    EXPECT_EQ(pacing_rate(5, 10), 1);
    EXPECT_EQ(pacing_rate(4'000'000, 0), 2048);
    EXPECT_EQ(pacing_rate(kHuge, 1), std::numeric_limits<std::int32_t>::max());
}

TEST(Pacing, TheDelayFollowsTheFormula) {
    for (const auto& [name, sent, elapsed_ms, rate, delay_ms] :
         Rows<const char*, std::int64_t, std::uint32_t, std::int32_t, std::int32_t>{
             {"half_the_time", 16'001'024, 500, 16'001, 350},
             {"least", 16'001'024, 888, 16'001, 1},
             {"too_little_to_wait", 16'001'024, 889, 16'001, 0},
             {"longest", 2'332, 0, 1, 1999},
             {"too_much_to_wait", 2'333, 0, 1, 0},
             {"sent_beyond_32_bits", 4'294'967'296 + 112, 0, 1, 1},
             {"sent_turns_negative", 2'147'483'648, 0, 1, 0},
             {"clock_wraps", 0, 4'294'967'184u, 1, 1},
             {"largest_rate", kHuge, 4'294'967'295u, 2'147'483'647, 0},
         })
        EXPECT_EQ(pacing_delay_ms(sent, elapsed_ms, rate), delay_ms) << name;
}

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

}  // namespace
