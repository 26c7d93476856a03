// Byte cursors and the flags of threads.
#include <gtest/gtest.h>

#include "core/bytes.h"
#include "core/thread.h"

namespace {

TEST(Cursor, NeverLeavesItsSpanAndStaysOnFailure) {
    ByteCursor cursor{as_bytes("\x01\x02\x03\x04\x05")};
    EXPECT_EQ(cursor.big_endian(2), 0x0102u);
    EXPECT_EQ(cursor.little_endian(3), 0x050403u);
    EXPECT_EQ(cursor.left(), 0u);

    ByteCursor short_one{as_bytes("\xFF\xFE")};
    EXPECT_EQ(short_one.big_endian(3), std::nullopt);
    EXPECT_EQ(short_one.take(static_cast<std::size_t>(-1)), std::nullopt);
    EXPECT_FALSE(short_one.skip(3));
    EXPECT_EQ(short_one.left(), 2u);
    EXPECT_EQ(as_text(*short_one.take(2)), "\xFF\xFE");
    EXPECT_TRUE(short_one.skip(0));
}

TEST(RunningFlags, GoFromIdleToRunningToAskedToIdle) {
    RunningFlag flag;
    flag.ask_to_stop();
    EXPECT_EQ(flag.value(), 0);  // nobody there to be asked
    flag.set_running();
    EXPECT_TRUE(flag.running());
    flag.ask_to_stop();
    EXPECT_EQ(flag.value(), -1);
    flag.set_running();  // a thread that only now begins
    EXPECT_EQ(flag.value(), -1);
    { const ClearsWhenDone done{flag}; }
    EXPECT_TRUE(flag.idle());
    EXPECT_FALSE(sleep_while_running(flag, 3'600'000));  // at once
}

}  // namespace
