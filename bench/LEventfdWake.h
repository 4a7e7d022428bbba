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
//
// Given the host time of a paced IO run's first cycle, the wakes fall half
// a cycle after each of that run's cycles: the two are measured under the
// same load (on a shared machine it changes from second to second) without
// ever running at the same moment.
#ifndef HARLUNE_BENCH_LEVENTFDWAKE_H
#define HARLUNE_BENCH_LEVENTFDWAKE_H

#include "bench/LLatencySamples.h"

#include <atomic>
#include <cstdint>

namespace harlune::bench {

// Runs nCycles paced cycles of dwFrames frames at fRate frames per second
// (blocking the caller for that long) and adds one sample per cycle to
// *pSamples, in nanoseconds. With pqwAnchor, the cycles start half a cycle
// after the host time *pqwAnchor holds once it is not 0 (the first cycle of
// an IO run that the caller starts at the same time, on the same grid);
// when it stays 0 for two seconds the cycles start from the time of the call.
// Both threads are started and joined inside the call; the caller's own
// thread is not re-prioritised. Returns false, adding nothing, when the
// eventfd, the epoll instance or a thread cannot be made, or when a write
// fails.
bool LTimeEventfdWakes(std::uint64_t nCycles, std::uint32_t dwFrames, double fRate, LLatencySamples* pSamples,
                       const std::atomic<std::uint64_t>* pqwAnchor = nullptr);

} // namespace harlune::bench

#endif
