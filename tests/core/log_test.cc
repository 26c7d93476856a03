#include "core/log.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "core/settings.h"

namespace {

class Log : public testing::Test {
protected:
    ~Log() override { settings_free_all(); }
};

struct Streams {
    std::string out, err;
};
template <typename Action>
Streams captured(Action action) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    action();
    return {testing::internal::GetCapturedStdout(), testing::internal::GetCapturedStderr()};
}

// "12:34:56:789 " taken off; the line shows in the failure when it has none.
std::string without_stamp(const std::string& line) {
    constexpr std::string_view kShape = "dd:dd:dd:ddd ";
    for (std::size_t i = 0; i < kShape.size(); ++i) {
        const char c = i < line.size() ? line[i] : '\0';
        if (kShape[i] == 'd' ? c < '0' || c > '9' : c != kShape[i]) return "no time stamp: " + line;
    }
    return line.substr(kShape.size());
}

TEST_F(Log, LinesCarryStampLevelCategoryAndMessage) {
    const Streams error = captured([] { log_message(LOG_ERROR, LOG_XMLPARSER, "bad\n"); });
    EXPECT_EQ(without_stamp(error.err), "[ERROR]XML PARSER:bad\n");
    EXPECT_EQ(error.out, "");
    const Streams plain = captured([] { log_message(LOG_PROBLEM, LOG_HTTP | LOG_SSDP, "%s\n", "%s%n"); });
    EXPECT_EQ(without_stamp(plain.out), "[Problem]%s%n\n");  // two bits at once have no tag
}

TEST_F(Log, OnlyWhatTheMaskNamesIsWritten) {
    struct {
        const char* mask;
        std::uint32_t level, category;
        bool written;
    } const rows[] = {
        {"0", LOG_INFO, LOG_SYSTEM, false}, {"0", LOG_PROBLEM, LOG_SYSTEM, true},
        {"0", LOG_INFO, 0, true},           {"10", LOG_INFO, LOG_HTTP, true},
        {"10", LOG_INFO, LOG_SSDP, true},   {"8", LOG_INFO, LOG_HTTP | LOG_SSDP, false},
        {"", LOG_INFO, LOG_HTTP, false},
    };
    for (const auto& row : rows) {
        settings_set(Setting::v, row.mask);
        const Streams streams = captured([&] { log_message(row.level, row.category, "x\n"); });
        EXPECT_EQ(!(streams.out + streams.err).empty(), row.written) << row.mask << " " << row.category;
    }
}

TEST_F(Log, LinesOfManyThreadsStayWhole) {
    constexpr int kThreads = 4, kLines = 200;
    const Streams streams = captured([] {
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t)
            threads.emplace_back([] {
                for (int i = 0; i < kLines; ++i) log_message(LOG_PROBLEM, LOG_DB, "all work and no play\n");
            });
        for (std::thread& thread : threads) thread.join();
    });
    int lines = 0;
    std::size_t at = 0;
    for (std::size_t end; (end = streams.out.find('\n', at)) != std::string::npos; at = end + 1, ++lines)
        ASSERT_EQ(without_stamp(streams.out.substr(at, end - at)), "[Problem]DB:all work and no play");
    EXPECT_EQ(lines, kThreads * kLines);
}

}  // namespace
