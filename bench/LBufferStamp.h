// LBufferStamp.h: what the benchmarks write into the first 24 bytes of
// each buffer they play, so that a recorder in another process can tell
// latency, order and loss: the host time it was sent (CLOCK_MONOTONIC
// nanoseconds, the same clock in every process), the phase of the run and
// the buffer's sequence number within it.
#ifndef HARLUNE_BENCH_LBUFFERSTAMP_H
#define HARLUNE_BENCH_LBUFFERSTAMP_H

#include <cstdint>

namespace harlune::bench {

struct LBufferStamp {
    std::uint64_t qwSentNs;  // mach_absolute_time() when the buffer was filled
    std::uint64_t nPhase;    // 1 to 8: which part of the run
    std::uint64_t nSequence; // buffers before this one in the phase
};

// Runs a recorder that reads stamps instead of writing a file (the bench's
// own executable starts itself with --recorder-child for this). It prints
// "registered" when registered, "stats PHASE FIRST LAST GAPS FRAMES" lines
// every second while buffers arrive, and on SIGINT/SIGTERM a summary:
// paced_frames, unpaced_frames (phase 2), out_of_order, latency_median_ns,
// latency_p99_ns (latency of phase 1 only), and per phase N its frames_N
// and span_N_ns (first to last arrival).
int LRunStampRecorderChild();

} // namespace harlune::bench

#endif
