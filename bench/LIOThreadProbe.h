// LIOThreadProbe.h: the host IO options the end-to-end benchmarks play
// with, and what those options let a benchmark see of the IO thread.
//
// Each buffer gets an LBufferStamp (send time, phase, sequence number) in
// its first 24 bytes. The probe gets the IO thread's ID and the host time
// of its first cycle (both stored on the first cycle) and the number of
// cycles done. Neither callback makes a system call after the first cycle,
// so that a trace of the thread shows only the host's and the driver's.
//
// Thread safety: the probe's fields are atomics written by the IO thread and
// read by any. Lifetime: the probe and the samples must outlive the IO run.
#ifndef HARLUNE_BENCH_LIOTHREADPROBE_H
#define HARLUNE_BENCH_LIOTHREADPROBE_H

#include "bench/LBufferStamp.h"
#include "bench/LLatencySamples.h"
#include "host/LHostIO.h"

#include <mach/mach_time.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstring>

namespace harlune::bench {

struct LIOThreadProbe {
    std::atomic<pid_t> tid{0};                    // the IO thread's kernel thread ID; 0 until it runs
    std::atomic<std::uint64_t> qwFirstCycle{0};   // mach_absolute_time of the first cycle's fill; 0 until then
    std::atomic<std::uint64_t> nCycles{0};        // cycles completed
};

// Options for one phase of IO: dwFrames-frame cycles, nCycles of them (0:
// until stopped), paced or not, each cycle's time into pSamples (may be
// null), the thread's figures into *pProbe.
inline host::LHostIOOptions LStampedIOOptions(std::uint32_t dwFrames, std::uint64_t nPhase, std::uint64_t nCycles,
                                              bool bPaced, LLatencySamples* pSamples, LIOThreadProbe* pProbe) {
    host::LHostIOOptions io;
    io.dwFramesPerCycle = dwFrames;
    io.bPaced = bPaced;
    io.nMaxCycles = nCycles;
    io.fill = [nPhase, pProbe](Float32* pf, UInt32, UInt64 qwCycle) {
        const LBufferStamp stamp = {mach_absolute_time(), nPhase, qwCycle};
        if (qwCycle == 0) {
            pProbe->tid.store(gettid());
            pProbe->qwFirstCycle.store(stamp.qwSentNs, std::memory_order_release);
        }
        std::memcpy(pf, &stamp, sizeof stamp);
    };
    io.onCycle = [pSamples, pProbe](UInt64 qwNs) {
        if (pSamples != nullptr) {
            pSamples->Add(qwNs);
        }
        pProbe->nCycles.fetch_add(1, std::memory_order_relaxed);
    };
    return io;
}

} // namespace harlune::bench

#endif
