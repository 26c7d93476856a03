// Files, sockets, threads and byte cursors: the thin layer over the system.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <string>

#include "core/bytes.h"
#include "core/file.h"
#include "core/thread.h"
#include "support/scratch.h"

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

TEST(Files, OnlyRegularOnesAreOpenedForReading) {
    const ScratchDirectory scratch;
    const std::string fifo = scratch / "song.mp3";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_FALSE(file_open_regular(fifo));  // and does not wait for a writer
    EXPECT_FALSE(file_open_regular(scratch.path()));
    EXPECT_FALSE(file_open_regular("/dev/zero"));
    EXPECT_FALSE(file_open_regular(scratch / "nothing"));
    EXPECT_FALSE(file_create(fifo));  // nor for a reader

    const std::string real = scratch.write("a", "0123456789");
    ASSERT_EQ(symlink(real.c_str(), (scratch / "link").c_str()), 0);
    const File file = file_open_regular(scratch / "link");
    ASSERT_TRUE(file);
    std::array<std::byte, 8> buffer;
    EXPECT_EQ(file.read_at(0, buffer), 8u);
    EXPECT_EQ(file.read_at(8, buffer), 2u);
    EXPECT_EQ(as_text(Bytes{buffer}.first(2)), "89");
    EXPECT_EQ(file.read_at(99, buffer), 0u);
    EXPECT_EQ(file.status()->size, 10);
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
