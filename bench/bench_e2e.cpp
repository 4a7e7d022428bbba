// End-to-end figures of the whole job, with the helper service and a
// recorder running as real processes:
//   - time the IO thread spends in the driver per 512-frame write-mix cycle
//     with a recorder connected (median, 99th percentile);
//   - latency from the cycle to the recorder's event handler at real-time
//     pacing, next to a raw Unix-domain socket pair carrying the same 4 KiB
//     at the same pace in the same run;
//   - unpaced throughput in cycles per second and times real time, and the
//     frames lost.
// Each buffer carries its send time, phase and sequence number in its first
// 24 bytes; the host clock (CLOCK_MONOTONIC) is the same in every process.
//
// Usage: bench_e2e [SECONDS_PACED] [CYCLES_PER_UNPACED_BURST]
#include "bench/LBenchServices.h"
#include "bench/LBufferStamp.h"
#include "bench/LLatencySamples.h"
#include "tools/harlune/ChildProcess.h"
#include "tools/harlune/CommandSupport.h"
#include "tools/harlune/Player.h"
#include "tools/harlune/Recorder.h"

#include <mach/mach_time.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <sstream>
#include <thread>

using harlune::bench::LBufferStamp;
using harlune::bench::LLatencySamples;

namespace {

constexpr std::uint32_t kFrames = 512;
constexpr std::size_t kBytes = kFrames * 8;
constexpr double kRate = 44100.0;
// Unpaced bursts: each well under the send queue's 8 MiB (2048 buffers).
constexpr std::uint64_t kBurstCycles = 1500;
constexpr std::uint64_t kBursts = 5;

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

// The same payload at the same pace over a raw socket pair to another process.
void RawSocketPairLatency(std::uint64_t nMessages, double* pfMedianNs, double* pfP99Ns) {
    int fds[2], results[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0 || pipe(results) != 0) {
        return;
    }
    const pid_t pid = fork();
    if (pid == 0) {
        close(fds[0]);
        close(results[0]);
        LLatencySamples samples(nMessages);
        std::vector<unsigned char> buffer(kBytes);
        for (std::uint64_t i = 0; i < nMessages; ++i) {
            std::size_t nGot = 0;
            while (nGot < kBytes) {
                const ssize_t n = read(fds[1], buffer.data() + nGot, kBytes - nGot);
                if (n <= 0) {
                    _exit(1);
                }
                nGot += static_cast<std::size_t>(n);
            }
            std::uint64_t qwSent = 0;
            std::memcpy(&qwSent, buffer.data(), 8);
            samples.Add(mach_absolute_time() - qwSent);
        }
        const double ar[2] = {samples.Quantile(0.5), samples.Quantile(0.99)};
        if (write(results[1], ar, sizeof ar) != sizeof ar) {
            _exit(1);
        }
        _exit(0);
    }
    close(fds[1]);
    close(results[1]);
    std::vector<unsigned char> buffer(kBytes, 0x5A);
    const std::uint64_t qwPeriod = static_cast<std::uint64_t>(kFrames * 1e9 / kRate);
    std::uint64_t qwNext = mach_absolute_time();
    for (std::uint64_t i = 0; i < nMessages; ++i) {
        qwNext += qwPeriod;
        while (mach_absolute_time() < qwNext) {
            timespec ts = {0, static_cast<long>(std::min<std::uint64_t>(qwNext - mach_absolute_time(), 1000000))};
            nanosleep(&ts, nullptr);
        }
        const std::uint64_t qwNow = mach_absolute_time();
        std::memcpy(buffer.data(), &qwNow, 8);
        if (write(fds[0], buffer.data(), kBytes) != static_cast<ssize_t>(kBytes)) {
            break;
        }
    }
    double ar[2] = {0, 0};
    if (read(results[0], ar, sizeof ar) == sizeof ar) {
        *pfMedianNs = ar[0];
        *pfP99Ns = ar[1];
    }
    close(fds[0]);
    close(results[0]);
    waitpid(pid, nullptr, 0);
}

} // namespace

int main(int argc, char** argv) {
    if (argc > 1 && std::strcmp(argv[1], "--recorder-child") == 0) {
        return harlune::bench::LRunStampRecorderChild();
    }
    const double fPacedSeconds = argc > 1 ? std::atof(argv[1]) : 5.0;
    const std::uint64_t nUnpacedCycles = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : kBurstCycles;
    const std::uint64_t nPacedCycles = static_cast<std::uint64_t>(fPacedSeconds * kRate / kFrames);

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
            auto run = [&](std::uint64_t nPhase, std::uint64_t nCycles, bool bPaced, LLatencySamples* pSamples) {
                harlune::host::LHostIOOptions io;
                io.dwFramesPerCycle = kFrames;
                io.bPaced = bPaced;
                io.nMaxCycles = nCycles;
                io.fill = [nPhase](Float32* pf, UInt32, UInt64 qwCycle) {
                    const LBufferStamp stamp = {mach_absolute_time(), nPhase, qwCycle};
                    std::memcpy(pf, &stamp, sizeof stamp);
                };
                io.onCycle = [pSamples](UInt64 qwNs) { pSamples->Add(qwNs); };
                const std::uint64_t qwStart = mach_absolute_time();
                pPlayer->Host().StartIO(io);
                pPlayer->Host().IO().WaitUntilDone(std::chrono::hours(1));
                const std::uint64_t qwElapsed = mach_absolute_time() - qwStart;
                pPlayer->Host().StopIO();
                return qwElapsed;
            };
            run(1, nPacedCycles, true, &ioCycle);
            // Unpaced, in bursts that fit the connection's send queue (its
            // limit is what a stalled recorder may cost the audio server):
            // a longer burst than the recorder absorbs is dropped by design,
            // so the sustained figure is taken where the recorder receives.
            const std::uint64_t nBurst = std::min<std::uint64_t>(nUnpacedCycles, kBurstCycles);
            std::uint64_t qwUnpacedNs = 0;
            for (std::uint64_t nPhase = 2; nPhase < 2 + kBursts; ++nPhase) {
                qwUnpacedNs += run(nPhase, nBurst, false, &ioCycleUnpaced);
                std::this_thread::sleep_for(std::chrono::milliseconds(300));
            }
            // Let the last buffers arrive before the recorder reports.
            std::this_thread::sleep_for(std::chrono::milliseconds(500));
            recorder.Signal(SIGINT);
            recorder.Wait(std::chrono::seconds(30));
            const std::string& szOut = recorder.Output();
            double fRawMedian = 0, fRawP99 = 0;
            RawSocketPairLatency(nPacedCycles, &fRawMedian, &fRawP99);

            const double fLatencyMedian = Value(szOut, "latency_median_ns");
            const double fUnpacedSeconds = static_cast<double>(qwUnpacedNs) / 1e9;
            const double fCyclesPerSecond = static_cast<double>(nBurst * kBursts) / fUnpacedSeconds;
            double fReceivedFrames = 0, fReceivedNs = 0;
            for (std::uint64_t nPhase = 2; nPhase < 2 + kBursts; ++nPhase) {
                fReceivedFrames += std::max(0.0, Value(szOut, "frames_" + std::to_string(nPhase)));
                fReceivedNs += std::max(0.0, Value(szOut, "span_" + std::to_string(nPhase) + "_ns"));
            }
            const double fEndToEndCyclesPerSecond = fReceivedNs > 0 ? fReceivedFrames / kFrames / (fReceivedNs / 1e9) : 0;
            const std::uint64_t nSent = (nPacedCycles + nBurst * kBursts) * kFrames;
            const double fReceived = Value(szOut, "paced_frames") + fReceivedFrames;
            std::printf("paced_cycles: %llu\n", static_cast<unsigned long long>(nPacedCycles));
            std::printf("io_cycle_median_us: %.2f\n", ioCycle.Quantile(0.5) / 1000.0);
            std::printf("io_cycle_p99_us: %.2f\n", ioCycle.Quantile(0.99) / 1000.0);
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
            nExit = 0;
        }
        pPlayer.reset();
    }
    return nExit;
}
