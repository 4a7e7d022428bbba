// LEventfdWake.h: the yardstick for the IO cycle's cost: what one bare
// wake-up of a sleeping thread costs the thread that wakes it.
//
// A waiting thread sleeps in epoll_wait on a non-blocking eventfd (the way
// the XPC transport thread sleeps on its wake descriptor) and, once woken,
// reads the eventfd and sleeps again. A waking thread, paced and
// prioritised like the host's IO thread (LRealtimePacing.h), writes 1 to
// the eventfd once per cycle; each sample is the span of that write alone,
// two mach_absolute_time() reads around it exactly as LHostIO times the
// driver's IO calls (no clock overhead removed, as there). At a cycle of
// several milliseconds the waiting thread is always asleep again before
// the next write, so every sample is a real wake.
#ifndef HARLUNE_BENCH_LEVENTFDWAKE_H
#define HARLUNE_BENCH_LEVENTFDWAKE_H

#include "bench/LLatencySamples.h"

#include <cstdint>

namespace harlune::bench {

// Runs nCycles paced cycles of dwFrames frames at fRate frames per second
// (blocking the caller for that long) and adds one sample per cycle to
// *pSamples, in nanoseconds. Both threads are started and joined inside
// the call; the caller's own thread is not re-prioritised. Returns false,
// adding nothing, when the eventfd, the epoll instance or a thread cannot be
// made, or when a write fails.
bool LTimeEventfdWakes(std::uint64_t nCycles, std::uint32_t dwFrames, double fRate, LLatencySamples* pSamples);

} // namespace harlune::bench

#endif
