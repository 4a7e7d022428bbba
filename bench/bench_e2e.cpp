// End-to-end figures of the whole job, with the helper service and a
// recorder running as real processes. What the figures mean, and their
// goals:
//   - io_cycle_median_us, io_cycle_p99_us: time the host's IO thread spends
//     in the driver's three IO calls per 512-frame write-mix cycle at
//     real-time pacing (44100 Hz, 11.6 ms) with a recorder connected.
//     io_cycle_unpaced_*: the same with cycles back to back.
//   - eventfd_wake_median_us, eventfd_wake_p99_us: one bare eventfd write
//     waking a thread asleep in epoll_wait, timed the same way on a thread
//     paced and prioritised the same way, as many times, in the same run.
//     io_cycle_vs_eventfd_wake_ratio (goal <= 1.5): the cycle costs about
//     one wake-up and nothing else.
//   - e2e_latency_*: from filling the buffer to the recorder's event
//     handler, at real-time pacing; socketpair_latency_*: the same 4 KiB
//     at the same pace over a raw Unix-domain socket pair to another
//     process, in the same run. e2e_vs_socketpair_latency_ratio: goal <= 2.5.
//   - unpaced_times_realtime (goal >= 2000): cycles per second received by
//     the recorder with the IO thread unpaced, in units of real time;
//     frames_lost (goal 0): frames played but not recorded, over all phases.
//   - io_thread_syscalls_per_cycle (goal <= 1): system calls the IO thread
//     makes per paced cycle with the recorder connected, counted with strace
//     on that thread alone in a phase of its own after the others (strace
//     slows each call; it does not change how many there are);
//     io_thread_pacing_syscalls_per_cycle: the host's own sleep between
//     cycles, which is the audio server's, not the plug-in's. The lines
//     io_thread_syscalls / io_thread_pacing_syscalls break both down by
//     call name. Without strace or ptrace: "unavailable (reason)".
// Each buffer carries its send time, phase and sequence number in its first
// 24 bytes; the host clock (CLOCK_MONOTONIC) is the same in every process.
//
// Usage: bench_e2e [SECONDS_PACED] [CYCLES_PER_UNPACED_BURST] [SECONDS_TRACED]
#include "bench/LBenchServices.h"
#include "bench/LBufferStamp.h"
#include "bench/LEventfdWake.h"
#include "bench/LLatencySamples.h"
#include "bench/LSocketPairLatency.h"
#include "bench/LSyscallTrace.h"
#include "tools/harlune/ChildProcess.h"
#include "tools/harlune/CommandSupport.h"
#include "tools/harlune/Player.h"
#include "tools/harlune/Recorder.h"

#include <mach/mach_time.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <thread>
#include <vector>

using harlune::bench::LBufferStamp;
using harlune::bench::LLatencySamples;
using harlune::bench::LSyscallCounts;

namespace {

constexpr std::uint32_t kFrames = 512;
constexpr std::size_t kBytes = kFrames * 8;
constexpr double kRate = 44100.0;
// Unpaced bursts: each well under the send queue's 8 MiB (2048 buffers).
constexpr std::uint64_t kBurstCycles = 1500;
constexpr std::uint64_t kBursts = 5;
// Phases, as stamped into the buffers: 1 paced, 2 to 6 unpaced bursts,
// 7 paced under strace.
constexpr std::uint64_t kFirstBurstPhase = 2;
constexpr std::uint64_t kTracedPhase = 7;

double Value(const std::string& szOutput, const std::string& szName) {
    std::istringstream in(szOutput);
    std::string szKey;
    double f = 0;
    while (in >> szKey) {
        if (szKey == szName && in >> f) {
            return f;
        }
    }
    return -1;
}

// What the benchmark sees of the host's IO thread: its thread ID, recorded
// by the fill function on its first cycle, and the cycles done so far.
struct IOThreadProbe {
    std::atomic<pid_t> tid{0};
    std::atomic<std::uint64_t> nCycles{0};
};

// One phase of IO: stamped buffers, each cycle's time into pSamples (may be
// null), the thread's ID and cycle count into *pProbe. Neither callback makes
// a system call after the first cycle, so that a trace of the thread shows
// only the host's and the driver's.
harlune::host::LHostIOOptions PhaseOptions(std::uint64_t nPhase, std::uint64_t nCycles, bool bPaced,
                                           LLatencySamples* pSamples, IOThreadProbe* pProbe) {
    harlune::host::LHostIOOptions io;
    io.dwFramesPerCycle = kFrames;
    io.bPaced = bPaced;
    io.nMaxCycles = nCycles;
    io.fill = [nPhase, pProbe](Float32* pf, UInt32, UInt64 qwCycle) {
        if (qwCycle == 0) {
            pProbe->tid.store(gettid());
        }
        const LBufferStamp stamp = {mach_absolute_time(), nPhase, qwCycle};
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

// The host's sleep between paced cycles (and its resumption when strace's
// attach interrupts it): the audio server's calls, not the plug-in's.
bool IsPacingCall(const std::string& szName) {
    return szName == "clock_nanosleep" || szName == "clock_nanosleep_time64" || szName == "nanosleep" ||
           szName == "restart_syscall";
}

struct TracedFigures {
    std::string szUnavailable;   // why there are no figures; empty when there are
    std::uint64_t nTracedCycles = 0;
    LSyscallCounts counts;
    std::uint64_t nCyclesRun = 0; // cycles of the whole phase, for the frame count
};

// Plays nCycles paced cycles with strace attached to the IO thread.
TracedFigures TraceIOThread(harlune::tools::LPlayer& player, std::uint64_t nCycles, const std::string& szFilePrefix) {
    TracedFigures figures;
    IOThreadProbe probe;
    if (player.Host().StartIO(PhaseOptions(kTracedPhase, 0, true, nullptr, &probe)) != kAudioHardwareNoError) {
        figures.szUnavailable = "IO did not start";
        return figures;
    }
    for (int n = 0; n < 2000 && probe.tid.load() == 0; ++n) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    harlune::bench::LSyscallTrace trace(szFilePrefix);
    if (probe.tid.load() == 0) {
        figures.szUnavailable = "the IO thread did not run";
    } else if (trace.Attach(probe.tid.load(), std::chrono::seconds(5), &figures.szUnavailable)) {
        // Counting from after the attach and to after the detach brackets
        // the traced calls to within one cycle at either end.
        const std::uint64_t nFirst = probe.nCycles.load();
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5) +
                              std::chrono::milliseconds(static_cast<std::int64_t>(nCycles * 3 * kFrames * 1000 / kRate));
        while (probe.nCycles.load() < nFirst + nCycles && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        if (trace.Detach(&figures.counts, &figures.szUnavailable)) {
            figures.nTracedCycles = probe.nCycles.load() - nFirst;
            if (figures.nTracedCycles == 0) {
                figures.szUnavailable = "no cycle ran while traced";
            }
        }
    }
    player.Host().StopIO();
    figures.nCyclesRun = probe.nCycles.load();
    return figures;
}

// "name=calls_per_cycle ..." for the pacing calls or the others, most frequent first.
std::string Breakdown(const LSyscallCounts& counts, double fCycles, bool bPacing, double* pfTotal) {
    std::vector<std::pair<std::uint64_t, std::string>> ar;
    for (const auto& [szName, nCalls] : counts) {
        if (IsPacingCall(szName) == bPacing) {
            ar.emplace_back(nCalls, szName);
        }
    }
    std::sort(ar.begin(), ar.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
    std::string sz;
    *pfTotal = 0;
    char szItem[128];
    for (const auto& [nCalls, szName] : ar) {
        *pfTotal += static_cast<double>(nCalls) / fCycles;
        std::snprintf(szItem, sizeof szItem, "%s%s=%.2f", sz.empty() ? "" : " ", szName.c_str(),
                      static_cast<double>(nCalls) / fCycles);
        sz += szItem;
    }
    return sz.empty() ? "none" : sz;
}

void PrintTracedFigures(const TracedFigures& figures) {
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

} // namespace

int main(int argc, char** argv) {
    if (argc > 1 && std::strcmp(argv[1], "--recorder-child") == 0) {
        return harlune::bench::LRunStampRecorderChild();
    }
    const double fPacedSeconds = argc > 1 ? std::atof(argv[1]) : 5.0;
    const std::uint64_t nUnpacedCycles = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : kBurstCycles;
    const double fTracedSeconds = argc > 3 ? std::atof(argv[3]) : 2.0;
    const std::uint64_t nPacedCycles = static_cast<std::uint64_t>(fPacedSeconds * kRate / kFrames);
    const std::uint64_t nTracedCycles =
        std::max<std::uint64_t>(1, static_cast<std::uint64_t>(fTracedSeconds * kRate / kFrames));

    harlune::bench::LBenchServices services("harlune-bench-e2e");
    int nExit = 1;
    {
        harlune::tools::LChildProcess recorder;
        std::string szError;
        std::unique_ptr<harlune::tools::LPlayer> pPlayer;
        if (!services.StartHelper() ||
            !recorder.Start(harlune::tools::LSelfExecutable(), {"--recorder-child"}) ||
            !recorder.WaitForLine("registered", std::chrono::seconds(10)) ||
            !(pPlayer = harlune::tools::LPlayer::Load({HARLUNE_BUNDLE_PATH, services.StorageFolder()}, &szError)) ||
            !pPlayer->WaitForRecorder(std::chrono::seconds(10))) {
            std::fprintf(stderr, "bench_e2e: could not set up the helper, recorder and plug-in %s\n", szError.c_str());
        } else {
            LLatencySamples ioCycle(nPacedCycles + 16);
            LLatencySamples ioCycleUnpaced(nUnpacedCycles * kBursts + 16);
            LLatencySamples eventfdWake(nPacedCycles + 16);
            auto run = [&](std::uint64_t nPhase, std::uint64_t nCycles, bool bPaced, LLatencySamples* pSamples) {
                IOThreadProbe probe;
                const std::uint64_t qwStart = mach_absolute_time();
                pPlayer->Host().StartIO(PhaseOptions(nPhase, nCycles, bPaced, pSamples, &probe));
                pPlayer->Host().IO().WaitUntilDone(std::chrono::hours(1));
                const std::uint64_t qwElapsed = mach_absolute_time() - qwStart;
                pPlayer->Host().StopIO();
                return qwElapsed;
            };
            run(1, nPacedCycles, true, &ioCycle);
            // The yardstick for the paced cycle, as many samples at the same pace.
            const bool bWakeTimed = harlune::bench::LTimeEventfdWakes(nPacedCycles, kFrames, kRate, &eventfdWake);
            // Unpaced, in bursts that fit the connection's send queue (its
            // limit is what a stalled recorder may cost the audio server):
            // a longer burst than the recorder absorbs is dropped by design,
            // so the sustained figure is taken where the recorder receives.
            const std::uint64_t nBurst = std::min<std::uint64_t>(nUnpacedCycles, kBurstCycles);
            std::uint64_t qwUnpacedNs = 0;
            for (std::uint64_t nPhase = kFirstBurstPhase; nPhase < kFirstBurstPhase + kBursts; ++nPhase) {
                qwUnpacedNs += run(nPhase, nBurst, false, &ioCycleUnpaced);
                std::this_thread::sleep_for(std::chrono::milliseconds(300));
            }
            // Last, as strace slows the IO thread's calls down.
            const TracedFigures traced = TraceIOThread(*pPlayer, nTracedCycles, services.Folder() + "/io-thread");
            // Let the last buffers arrive before the recorder reports.
            std::this_thread::sleep_for(std::chrono::milliseconds(500));
            recorder.Signal(SIGINT);
            recorder.Wait(std::chrono::seconds(30));
            const std::string& szOut = recorder.Output();
            double fRawMedian = 0, fRawP99 = 0;
            harlune::bench::LSocketPairLatency(nPacedCycles, kBytes, kFrames, kRate, &fRawMedian, &fRawP99);

            const double fLatencyMedian = Value(szOut, "latency_median_ns");
            const double fUnpacedSeconds = static_cast<double>(qwUnpacedNs) / 1e9;
            const double fCyclesPerSecond = static_cast<double>(nBurst * kBursts) / fUnpacedSeconds;
            double fReceivedFrames = 0, fReceivedNs = 0;
            for (std::uint64_t nPhase = kFirstBurstPhase; nPhase < kFirstBurstPhase + kBursts; ++nPhase) {
                fReceivedFrames += std::max(0.0, Value(szOut, "frames_" + std::to_string(nPhase)));
                fReceivedNs += std::max(0.0, Value(szOut, "span_" + std::to_string(nPhase) + "_ns"));
            }
            const double fEndToEndCyclesPerSecond = fReceivedNs > 0 ? fReceivedFrames / kFrames / (fReceivedNs / 1e9) : 0;
            const std::uint64_t nSent = (nPacedCycles + nBurst * kBursts + traced.nCyclesRun) * kFrames;
            const double fReceived = Value(szOut, "paced_frames") + fReceivedFrames +
                                     std::max(0.0, Value(szOut, "frames_" + std::to_string(kTracedPhase)));
            const double fCycleMedian = ioCycle.Quantile(0.5);
            const double fWakeMedian = eventfdWake.Quantile(0.5);
            std::printf("paced_cycles: %llu\n", static_cast<unsigned long long>(nPacedCycles));
            std::printf("io_cycle_median_us: %.2f\n", fCycleMedian / 1000.0);
            std::printf("io_cycle_p99_us: %.2f\n", ioCycle.Quantile(0.99) / 1000.0);
            if (bWakeTimed && fWakeMedian > 0) {
                std::printf("eventfd_wake_median_us: %.2f\n", fWakeMedian / 1000.0);
                std::printf("eventfd_wake_p99_us: %.2f\n", eventfdWake.Quantile(0.99) / 1000.0);
                std::printf("io_cycle_vs_eventfd_wake_ratio: %.2f\n", fCycleMedian / fWakeMedian);
            } else {
                std::printf("eventfd_wake_median_us: unavailable (eventfd or epoll failed)\n");
            }
            std::printf("io_cycle_unpaced_median_us: %.2f\n", ioCycleUnpaced.Quantile(0.5) / 1000.0);
            std::printf("io_cycle_unpaced_p99_us: %.2f\n", ioCycleUnpaced.Quantile(0.99) / 1000.0);
            std::printf("e2e_latency_median_us: %.1f\n", fLatencyMedian / 1000.0);
            std::printf("e2e_latency_p99_us: %.1f\n", Value(szOut, "latency_p99_ns") / 1000.0);
            std::printf("socketpair_latency_median_us: %.1f\n", fRawMedian / 1000.0);
            std::printf("socketpair_latency_p99_us: %.1f\n", fRawP99 / 1000.0);
            std::printf("e2e_vs_socketpair_latency_ratio: %.2f\n", fRawMedian > 0 ? fLatencyMedian / fRawMedian : 0.0);
            std::printf("unpaced_cycles: %llu (%llu bursts of %llu)\n", static_cast<unsigned long long>(nBurst * kBursts),
                        static_cast<unsigned long long>(kBursts), static_cast<unsigned long long>(nBurst));
            std::printf("unpaced_sender_cycles_per_second: %.0f\n", fCyclesPerSecond);
            std::printf("unpaced_received_cycles_per_second: %.0f\n", fEndToEndCyclesPerSecond);
            std::printf("unpaced_times_realtime: %.0f\n", fEndToEndCyclesPerSecond * kFrames / kRate);
            std::printf("frames_sent: %llu\n", static_cast<unsigned long long>(nSent));
            std::printf("frames_lost: %.0f\n", static_cast<double>(nSent) - fReceived);
            std::printf("buffers_out_of_order: %.0f\n", Value(szOut, "out_of_order"));
            PrintTracedFigures(traced);
            nExit = 0;
        }
        pPlayer.reset();
    }
    return nExit;
}
