// Music-only clients have small buffers and stall if data comes too fast, so their transfers pause now and then. This
// is the arithmetic alone: sizes in bytes, times in milliseconds, rates in bytes per second of play time.
#pragma once

#include <cstdint>

// The smallest whole rate above size / seconds, at most 2^31 - 1; 2048 if either is unknown.
std::int32_t pacing_rate(std::int64_t size, std::int32_t seconds);

// The bytes to send between two looks at the clock: the smallest multiple of unit that is at least 1000 x rate.
std::int64_t pacing_stretch(std::int32_t rate, std::int64_t unit);

// How long to pause after `sent` bytes went out in elapsed_ms; 0 to 1999.
std::int32_t pacing_delay_ms(std::int64_t sent, std::uint32_t elapsed_ms, std::int32_t rate);
