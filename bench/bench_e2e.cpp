// End-to-end figures of the whole job, with the helper service and a
// recorder running as real processes. What the figures mean, and their
// goals:
//   - io_cycle_median_us, io_cycle_p99_us: time the host's IO thread spends
//     in the driver's three IO calls per 512-frame write-mix cycle at
//     real-time pacing (44100 Hz, 11.6 ms) with a recorder connected.
//     io_cycle_unpaced_*: the same with cycles back to back.
//   - eventfd_wake_median_us, eventfd_wake_p99_us: one bare eventfd write
//     waking a thread asleep in epoll_wait, timed the same way on a thread
//     paced and prioritised the same way, as many times, half a cycle after
//     each paced cycle (so both are measured under the same load).
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
#include "bench/LIOThreadProbe.h"
#include "bench/LIOThreadSyscalls.h"
#include "bench/LLatencySamples.h"
#include "bench/LSocketPairLatency.h"
#include "tools/harlune/ChildProcess.h"
#include "tools/harlune/CommandSupport.h"
#include "tools/harlune/Player.h"
#include "tools/harlune/Recorder.h"

#include <mach/mach_time.h>
#include <signal.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <thread>

using harlune::bench::LIOThreadProbe;
using harlune::bench::LLatencySamples;
using harlune::bench::LStampedIOOptions;

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
            auto run = [&](std::uint64_t nPhase, std::uint64_t nCycles, bool bPaced, LLatencySamples* pSamples,
                           LIOThreadProbe* pProbe) {
                const std::uint64_t qwStart = mach_absolute_time();
                pPlayer->Host().StartIO(LStampedIOOptions(kFrames, nPhase, nCycles, bPaced, pSamples, pProbe));
                pPlayer->Host().IO().WaitUntilDone(std::chrono::hours(1));
                const std::uint64_t qwElapsed = mach_absolute_time() - qwStart;
                pPlayer->Host().StopIO();
                return qwElapsed;
            };
            // The paced cycles, and their yardstick: as many bare wakes at the
            // same pace, each half a cycle after a cycle.
            LIOThreadProbe paced;
            bool bWakeTimed = false;
            std::thread wakes([&] {
                bWakeTimed = harlune::bench::LTimeEventfdWakes(nPacedCycles, kFrames, kRate, &eventfdWake,
                                                               &paced.qwFirstCycle);
            });
            run(1, nPacedCycles, true, &ioCycle, &paced);
            wakes.join();
            // Unpaced, in bursts that fit the connection's send queue (its
            // limit is what a stalled recorder may cost the audio server):
            // a longer burst than the recorder absorbs is dropped by design,
            // so the sustained figure is taken where the recorder receives.
            const std::uint64_t nBurst = std::min<std::uint64_t>(nUnpacedCycles, kBurstCycles);
            std::uint64_t qwUnpacedNs = 0;
            for (std::uint64_t nPhase = kFirstBurstPhase; nPhase < kFirstBurstPhase + kBursts; ++nPhase) {
                LIOThreadProbe probe;
                qwUnpacedNs += run(nPhase, nBurst, false, &ioCycleUnpaced, &probe);
                std::this_thread::sleep_for(std::chrono::milliseconds(300));
            }
            // Last, as strace slows the IO thread's calls down.
            LIOThreadProbe tracedProbe;
            const harlune::bench::LIOThreadSyscalls traced = harlune::bench::LTraceIOThread(
                pPlayer->Host(), LStampedIOOptions(kFrames, kTracedPhase, 0, true, nullptr, &tracedProbe),
                &tracedProbe, nTracedCycles, services.Folder() + "/io-thread");
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
            harlune::bench::LPrintIOThreadSyscalls(traced);
            nExit = 0;
        }
        pPlayer.reset();
    }
    return nExit;
}
