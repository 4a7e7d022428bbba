// LIOThreadSyscalls.h: the system calls the host's IO thread makes per
// cycle, counted with strace attached to that thread alone while it plays
// (LSyscallTrace.h).
//
// The host's sleep between paced cycles (and its resumption when the attach
// interrupts it) is the audio server's, not the plug-in's: it is counted
// apart from the calls made inside the cycle (by the driver and everything
// it calls). strace slows every call of the thread down; it does not change
// how many there are, so this phase runs apart from the timed ones.
//
// Thread safety: call from one thread, while no other IO runs on the host.
#ifndef HARLUNE_BENCH_LIOTHREADSYSCALLS_H
#define HARLUNE_BENCH_LIOTHREADSYSCALLS_H

#include "bench/LIOThreadProbe.h"
#include "bench/LSyscallTrace.h"
#include "host/LHost.h"

#include <cstdint>
#include <string>

namespace harlune::bench {

struct LIOThreadSyscalls {
    std::string szUnavailable;    // why there are no figures; empty when there are
    std::uint64_t nTracedCycles = 0; // cycles run while traced
    LSyscallCounts counts;        // calls made while traced, by name
    std::uint64_t nCyclesRun = 0; // cycles of the whole run, traced or not (for the frame count)
};

// Starts IO with io (which must report to *pProbe and run until stopped),
// traces the IO thread for nCycles cycles, stops IO and answers the counts.
// The trace's files are szFilePrefix.trace and .log, removed before return.
LIOThreadSyscalls LTraceIOThread(host::LHost& host, const host::LHostIOOptions& io, LIOThreadProbe* pProbe,
                                 std::uint64_t nCycles, const std::string& szFilePrefix);

// True for the host's pacing calls.
bool LIsPacingCall(const std::string& szName);

// Prints io_thread_syscalls_per_cycle and its breakdown lines, or
// "io_thread_syscalls_per_cycle: unavailable (reason)".
void LPrintIOThreadSyscalls(const LIOThreadSyscalls& figures);

} // namespace harlune::bench

#endif
