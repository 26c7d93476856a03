// Music-only clients have small buffers and stall when they are flooded, so their transfers pause now and then. This
// is the arithmetic alone: sizes in bytes, times in milliseconds, rates in bytes per second of play time.
#pragma once

#include <cstdint>

// The least whole rate that plays size bytes in the given seconds, at least 1 and at most 2^31 - 1; 2048 when either is
// not known.
std::int32_t pacing_rate(std::int64_t size, std::int32_t seconds);

// How much goes out between two looks at the clock: the first multiple of unit that is not below 1000 x rate.
std::int64_t pacing_stretch(std::int32_t rate, std::int64_t unit);

// How long to pause once sent bytes left in elapsed_ms; 0 for not at all, at most 1999.
std::int32_t pacing_delay_ms(std::int64_t sent, std::uint32_t elapsed_ms, std::int32_t rate);
