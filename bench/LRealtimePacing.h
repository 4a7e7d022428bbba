// LRealtimePacing.h: paces a benchmark thread the way the host's IO thread
// is paced (host/LHostIO.cpp), so that a figure timed on it can be set
// next to the IO cycle's: the thread asks for the same real-time priority
// (SCHED_FIFO, minimum + 10; kept at normal priority where the process may
// not have it, as the host does), and sleeps in clock_nanosleep until an
// absolute CLOCK_MONOTONIC time, the clock mach_absolute_time counts in
// nanoseconds.
//
// Thread safety: the functions act on the calling thread only.
#ifndef HARLUNE_BENCH_LREALTIMEPACING_H
#define HARLUNE_BENCH_LREALTIMEPACING_H

#include <errno.h>
#include <pthread.h>
#include <sched.h>
#include <time.h>

#include <cstdint>

namespace harlune::bench {

// Gives the calling thread the IO thread's priority; false when refused.
inline bool LRaiseToIOThreadPriority() {
    sched_param param = {};
    param.sched_priority = sched_get_priority_min(SCHED_FIFO) + 10;
    return pthread_setschedparam(pthread_self(), SCHED_FIFO, &param) == 0;
}

// Sleeps until mach_absolute_time() reaches qwHostTime (nanoseconds).
inline void LSleepUntilHostTime(std::uint64_t qwHostTime) {
    timespec ts;
    ts.tv_sec = static_cast<time_t>(qwHostTime / 1000000000ull);
    ts.tv_nsec = static_cast<long>(qwHostTime % 1000000000ull);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &ts, nullptr) == EINTR) {
    }
}

// The host time of cycle nCycle of dwFrames-frame cycles at fRate frames
// per second, counted from qwStart; computed from the cycle number rather
// than by adding a rounded period, so that the schedule does not drift.
inline std::uint64_t LCycleHostTime(std::uint64_t qwStart, std::uint64_t nCycle, std::uint32_t dwFrames, double fRate) {
    return qwStart + static_cast<std::uint64_t>(static_cast<double>(nCycle) * dwFrames * 1e9 / fRate);
}

} // namespace harlune::bench

#endif
