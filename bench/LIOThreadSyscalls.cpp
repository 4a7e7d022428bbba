#include "bench/LIOThreadSyscalls.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>
#include <utility>
#include <vector>

namespace harlune::bench {
namespace {

// "name=calls_per_cycle ..." for the pacing calls or the others, most
// frequent first; their sum into *pfTotal.
std::string Breakdown(const LSyscallCounts& counts, double fCycles, bool bPacing, double* pfTotal) {
    std::vector<std::pair<std::uint64_t, std::string>> ar;
    for (const auto& [szName, nCalls] : counts) {
        if (LIsPacingCall(szName) == bPacing) {
            ar.emplace_back(nCalls, szName);
        }
    }
    std::sort(ar.begin(), ar.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
    std::string sz;
    *pfTotal = 0;
    char szItem[128];
    for (const auto& [nCalls, szName] : ar) {
        const double fPerCycle = static_cast<double>(nCalls) / fCycles;
        *pfTotal += fPerCycle;
        std::snprintf(szItem, sizeof szItem, "%s%s=%.2f", sz.empty() ? "" : " ", szName.c_str(), fPerCycle);
        sz += szItem;
    }
    return sz.empty() ? "none" : sz;
}

} // namespace

bool LIsPacingCall(const std::string& szName) {
    return szName == "clock_nanosleep" || szName == "clock_nanosleep_time64" || szName == "nanosleep" ||
           szName == "restart_syscall";
}

LIOThreadSyscalls LTraceIOThread(host::LHost& host, const host::LHostIOOptions& io, LIOThreadProbe* pProbe,
                                 std::uint64_t nCycles, const std::string& szFilePrefix) {
    LIOThreadSyscalls figures;
    if (host.StartIO(io) != kAudioHardwareNoError) {
        figures.szUnavailable = "IO did not start";
        return figures;
    }
    for (int n = 0; n < 2000 && pProbe->tid.load() == 0; ++n) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    LSyscallTrace trace(szFilePrefix);
    if (pProbe->tid.load() == 0) {
        figures.szUnavailable = "the IO thread did not run";
    } else if (trace.Attach(pProbe->tid.load(), std::chrono::seconds(5), &figures.szUnavailable)) {
        // Counting from after the attach to after the detach brackets the
        // traced calls to within one cycle at either end. The deadline only
        // bounds a stalled IO thread (paced cycles are never 100 ms).
        const std::uint64_t nFirst = pProbe->nCycles.load();
        const auto deadline =
            std::chrono::steady_clock::now() + std::chrono::seconds(5) + std::chrono::milliseconds(100) * nCycles;
        while (pProbe->nCycles.load() < nFirst + nCycles && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        if (trace.Detach(&figures.counts, &figures.szUnavailable)) {
            figures.nTracedCycles = pProbe->nCycles.load() - nFirst;
            if (figures.nTracedCycles == 0) {
                figures.szUnavailable = "no cycle ran while traced";
            }
        }
    }
    host.StopIO();
    figures.nCyclesRun = pProbe->nCycles.load();
    return figures;
}

void LPrintIOThreadSyscalls(const LIOThreadSyscalls& figures) {
    if (!figures.szUnavailable.empty()) {
        std::printf("io_thread_syscalls_per_cycle: unavailable (%s)\n", figures.szUnavailable.c_str());
        return;
    }
    const double fCycles = static_cast<double>(figures.nTracedCycles);
    double fInCycle = 0, fPacing = 0;
    const std::string szInCycle = Breakdown(figures.counts, fCycles, false, &fInCycle);
    const std::string szPacing = Breakdown(figures.counts, fCycles, true, &fPacing);
    std::printf("io_thread_traced_cycles: %llu\n", static_cast<unsigned long long>(figures.nTracedCycles));
    std::printf("io_thread_syscalls_per_cycle: %.2f\n", fInCycle);
    std::printf("io_thread_syscalls: %s\n", szInCycle.c_str());
    std::printf("io_thread_pacing_syscalls_per_cycle: %.2f\n", fPacing);
    std::printf("io_thread_pacing_syscalls: %s\n", szPacing.c_str());
}

} // namespace harlune::bench
