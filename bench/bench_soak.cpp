// Soak: plays at real time for the given minutes while recorders (real
// processes) are killed and restarted every few seconds, and reports what
// a long-running audio server would care about: cycles, late cycles, the
// longest IO cycle, frames received while a recorder was connected and
// frames lost inside a recorder's connected stretch, and the growth of the
// host's (and the helper service's) memory and descriptors.
//
// Then one recorder is stopped (SIGSTOP) for STALL_SECONDS while the device
// keeps playing at real time: once the plug-in's send queue to it holds its
// limit, every further cycle is dropped, and the host's memory must stay
// flat from then on (host_rss_growth_kib_while_stalled).
//
// Usage: bench_soak [MINUTES] [RESTART_SECONDS] [STALL_SECONDS]   (defaults 1, 3 and 60)
#include "bench/LBenchServices.h"
#include "bench/LBufferStamp.h"
#include "tools/harlune/ChildProcess.h"
#include "tools/harlune/Player.h"
#include "tools/harlune/ProcessStats.h"

#include <mach/mach_time.h>
#include <xpc/xpc.h>
#include <signal.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <thread>

namespace {

using harlune::bench::LBufferStamp;

// The last "stats 1 FIRST LAST GAPS FRAMES" line a recorder printed.
bool LastStats(const std::string& szOutput, unsigned long long* pnGaps, unsigned long long* pnFrames) {
    std::istringstream in(szOutput);
    std::string szLine;
    bool bFound = false;
    while (std::getline(in, szLine)) {
        unsigned long long nFirst, nLast;
        if (std::sscanf(szLine.c_str(), "stats 1 %llu %llu %llu %llu", &nFirst, &nLast, pnGaps, pnFrames) == 4) {
            bFound = true;
        }
    }
    return bFound;
}

// What the stalled phase measured.
struct LStallFigures {
    double fSeconds = 0;          // how long the recorder was stopped
    unsigned long long nMeasuredCycles = 0; // cycles after the queue was full
    long nQueueFillKiB = -1;      // host growth while the queue filled up
    long nGrowthKiB = -1;         // host growth after that, to the end of the stop
};

// Stops a fresh recorder for fStallSeconds while IO runs at real time.
bool RunStalledPhase(harlune::tools::LPlayer& player, double fStallSeconds, LStallFigures* pFigures) {
    harlune::tools::LChildProcess recorder;
    if (!recorder.Start(harlune::tools::LSelfExecutable(), {"--recorder-child"}) ||
        !recorder.WaitForLine("registered", std::chrono::seconds(10)) ||
        !player.WaitForRecorder(std::chrono::seconds(10))) {
        return false;
    }
    // Let the plug-in's connection to it settle before stopping it.
    std::this_thread::sleep_for(std::chrono::seconds(1));
    // The queue holds its byte limit, and the sockets on the way a few MiB,
    // after this many 4 KiB cycles; memory may grow until then.
    const unsigned long long nFullAfter = (XPC_CONNECTION_QUEUE_LIMIT_BYTES + 4u * 1024u * 1024u) / 4096u;
    const long nKiBAtStop = harlune::tools::LResidentKiB(0);
    const unsigned long long nCycleAtStop = player.Host().IO().Stats().nCycles;
    recorder.Signal(SIGSTOP);
    const auto start = std::chrono::steady_clock::now();
    const auto end = start + std::chrono::milliseconds(static_cast<long>(fStallSeconds * 1000));
    long nKiBFull = -1;
    unsigned long long nCycleFull = 0;
    while (std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        const unsigned long long nCycle = player.Host().IO().Stats().nCycles;
        if (nKiBFull < 0 && nCycle - nCycleAtStop >= nFullAfter) {
            nKiBFull = harlune::tools::LResidentKiB(0);
            nCycleFull = nCycle;
        }
    }
    const long nKiBEnd = harlune::tools::LResidentKiB(0);
    pFigures->fSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (nKiBFull >= 0) {
        pFigures->nQueueFillKiB = nKiBFull - nKiBAtStop;
        pFigures->nGrowthKiB = nKiBEnd - nKiBFull;
        pFigures->nMeasuredCycles = player.Host().IO().Stats().nCycles - nCycleFull;
    }
    recorder.Signal(SIGCONT);
    recorder.Signal(SIGTERM);
    recorder.Wait(std::chrono::seconds(10));
    return true;
}

} // namespace

int main(int argc, char** argv) {
    if (argc > 1 && std::strcmp(argv[1], "--recorder-child") == 0) {
        return harlune::bench::LRunStampRecorderChild();
    }
    const double fMinutes = argc > 1 ? std::atof(argv[1]) : 1.0;
    const double fRestartSeconds = argc > 2 ? std::atof(argv[2]) : 3.0;
    const double fStallSeconds = argc > 3 ? std::atof(argv[3]) : 60.0;
    harlune::bench::LBenchServices services("harlune-soak");
    int nExit = 1;
    {
        std::string szError;
        std::unique_ptr<harlune::tools::LPlayer> pPlayer;
        if (!services.StartHelper() ||
            !(pPlayer = harlune::tools::LPlayer::Load({HARLUNE_BUNDLE_PATH, services.StorageFolder()}, &szError))) {
            std::fprintf(stderr, "bench_soak: could not start the helper or load the plug-in %s\n", szError.c_str());
        } else {
            harlune::host::LHostIOOptions io;
            io.fill = [](Float32* pf, UInt32, UInt64 qwCycle) {
                const LBufferStamp stamp = {mach_absolute_time(), 1, qwCycle};
                std::memcpy(pf, &stamp, sizeof stamp);
            };
            pPlayer->Host().StartIO(io);
            unsigned long long nReceived = 0, nLostWhileConnected = 0, nRecorders = 0;
            long nStartFds = -1, nStartKiB = -1, nHelperStartFds = -1, nHelperStartKiB = -1;
            const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(static_cast<long>(fMinutes * 60000));
            while (std::chrono::steady_clock::now() < end) {
                harlune::tools::LChildProcess recorder;
                if (!recorder.Start(harlune::tools::LSelfExecutable(), {"--recorder-child"}) ||
                    !recorder.WaitForLine("registered", std::chrono::seconds(10))) {
                    std::fprintf(stderr, "bench_soak: a recorder did not register\n");
                    break;
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(static_cast<long>(fRestartSeconds * 1000)));
                // Half of them are killed outright, half are asked to stop.
                recorder.Signal(nRecorders % 2 == 0 ? SIGKILL : SIGTERM);
                recorder.Wait(std::chrono::seconds(10));
                unsigned long long nGaps = 0, nFrames = 0;
                if (LastStats(recorder.Output(), &nGaps, &nFrames)) {
                    nReceived += nFrames;
                    nLostWhileConnected += nGaps * 512;
                }
                ++nRecorders;
                if (nRecorders == 2) {
                    // Measured after warm-up: pools and caches have grown to size.
                    nStartFds = harlune::tools::LCountDescriptors(0);
                    nStartKiB = harlune::tools::LResidentKiB(0);
                    nHelperStartFds = harlune::tools::LCountDescriptors(services.Helper().Pid());
                    nHelperStartKiB = harlune::tools::LResidentKiB(services.Helper().Pid());
                }
            }
            // Figures of the restart phase are taken before the stall.
            const long nHostFds = harlune::tools::LCountDescriptors(0), nHostKiB = harlune::tools::LResidentKiB(0);
            const long nHelperFds = harlune::tools::LCountDescriptors(services.Helper().Pid());
            const long nHelperKiB = harlune::tools::LResidentKiB(services.Helper().Pid());
            LStallFigures stall;
            const bool bStalled = fStallSeconds > 0 && RunStalledPhase(*pPlayer, fStallSeconds, &stall);
            pPlayer->Host().StopIO();
            const harlune::host::LHostIOStats stats = pPlayer->Host().IO().Stats();
            std::printf("soak_minutes: %.2f\n", fMinutes);
            std::printf("recorders_started: %llu\n", nRecorders);
            std::printf("cycles: %llu\n", static_cast<unsigned long long>(stats.nCycles));
            std::printf("frames_sent: %llu\n", static_cast<unsigned long long>(stats.nCycles * 512));
            std::printf("frames_received_while_connected: %llu\n", nReceived);
            std::printf("frames_lost_while_connected: %llu\n", nLostWhileConnected);
            std::printf("late_cycles: %llu\n", static_cast<unsigned long long>(stats.nLateCycles));
            std::printf("failed_io_calls: %llu\n", static_cast<unsigned long long>(stats.nFailedCalls));
            std::printf("longest_io_cycle_us: %.1f\n", static_cast<double>(stats.qwLongestCycleNs) / 1000.0);
            std::printf("host_fd_growth: %ld\n", nHostFds - nStartFds);
            std::printf("host_rss_growth_kib: %ld\n", nHostKiB - nStartKiB);
            std::printf("helper_fd_growth: %ld\n", nHelperFds - nHelperStartFds);
            std::printf("helper_rss_growth_kib: %ld\n", nHelperKiB - nHelperStartKiB);
            std::printf("stalled_seconds: %.1f\n", stall.fSeconds);
            std::printf("stalled_cycles_measured: %llu\n", stall.nMeasuredCycles);
            std::printf("host_rss_kib_while_queue_filled: %ld\n", stall.nQueueFillKiB);
            std::printf("host_rss_growth_kib_while_stalled: %ld\n", stall.nGrowthKiB);
            if (fStallSeconds > 0 && (!bStalled || stall.nGrowthKiB < 0)) {
                std::fprintf(stderr, "bench_soak: the stalled phase %s\n",
                             bStalled ? "was too short to fill the send queue" : "could not start a recorder");
            }
            nExit = nLostWhileConnected == 0 && stats.nFailedCalls == 0 ? 0 : 1;
        }
        pPlayer.reset();
    }
    return nExit;
}
