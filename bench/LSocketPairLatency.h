// LSocketPairLatency.h: the yardstick for end-to-end latency: the same
// 4 KiB buffers at the same real-time pace, written into a raw Unix-domain
// socket pair and read by another process, with the time from before the
// write to after the last byte is read (mach_absolute_time, the same clock
// in both processes).
//
// Thread safety: forks; call it while no other thread of the caller is in
// the middle of something a fork would copy inconsistently (the benchmarks
// call it between their phases).
#ifndef HARLUNE_BENCH_LSOCKETPAIRLATENCY_H
#define HARLUNE_BENCH_LSOCKETPAIRLATENCY_H

#include <cstddef>
#include <cstdint>

namespace harlune::bench {

// Sends nMessages buffers of nBytes, one every dwFrames frames at fRate,
// and stores the reader's median and 99th percentile latency in
// nanoseconds; leaves both untouched when the socket pair or the reader
// cannot be set up.
void LSocketPairLatency(std::uint64_t nMessages, std::size_t nBytes, std::uint32_t dwFrames, double fRate,
                        double* pfMedianNs, double* pfP99Ns);

} // namespace harlune::bench

#endif
