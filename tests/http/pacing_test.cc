#include "handlers/pacing.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

constexpr std::int64_t kHuge = std::numeric_limits<std::int64_t>::max();

TEST(Pacing, TheRateIsTheFilesOwn) {
    EXPECT_EQ(pacing_rate(4'000'000, 250), 16'001);
    EXPECT_EQ(pacing_rate(5, 10), 1);
    EXPECT_EQ(pacing_rate(4'000'000, 0), 2048);
    EXPECT_EQ(pacing_rate(kHuge, 1), std::numeric_limits<std::int32_t>::max());
}

TEST(Pacing, TheDelayFollowsTheFormula) {
    const struct {
        const char* name;
        std::int64_t sent;
        std::uint32_t elapsed_ms;
        std::int32_t rate, delay_ms;
    } rows[] = {
        {"half_the_time", 16'001'024, 500, 16'001, 350},
        {"least", 16'001'024, 888, 16'001, 1},
        {"too_little_to_wait", 16'001'024, 889, 16'001, 0},
        {"longest", 2'332, 0, 1, 1999},
        {"too_much_to_wait", 2'333, 0, 1, 0},
        {"sent_beyond_32_bits", 4'294'967'296 + 112, 0, 1, 1},
        {"sent_turns_negative", 2'147'483'648, 0, 1, 0},
        {"clock_wraps", 0, 4'294'967'184u, 1, 1},
        {"largest_rate", kHuge, 4'294'967'295u, 2'147'483'647, 0},
    };
    for (const auto& c : rows) EXPECT_EQ(pacing_delay_ms(c.sent, c.elapsed_ms, c.rate), c.delay_ms) << c.name;
}

}  // namespace
