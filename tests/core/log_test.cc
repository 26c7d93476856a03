#include "core/log.h"

#include <gmock/gmock.h>

#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

TEST(Log, LinesStayWholeAndArgumentsAreNoFormats) {
    constexpr int kThreads = 4, kLines = 200;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    {
        std::vector<std::jthread> threads;
        for (int t = 0; t < kThreads; ++t)
            threads.emplace_back([] {
                for (int i = 0; i < kLines; ++i) log_message(LOG_PROBLEM, LOG_DB, "%s\n", "all %s%n work");
            });
    }
    log_message(LOG_ERROR, LOG_XMLPARSER, "bad\n");
    std::istringstream out{testing::internal::GetCapturedStdout()};
    int lines = 0;
    for (std::string line; std::getline(out, line); ++lines)
        ASSERT_THAT(line, testing::MatchesRegex("([0-9]{2}:){3}[0-9]{3} \\[Problem]DB:all %s%n work"));
    EXPECT_EQ(lines, kThreads * kLines);
    EXPECT_TRUE(testing::internal::GetCapturedStderr().ends_with(" [ERROR]XML PARSER:bad\n"));
}

}  // namespace
