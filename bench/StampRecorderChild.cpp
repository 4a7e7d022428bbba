#include "bench/LBufferStamp.h"
#include "bench/LLatencySamples.h"
#include "tools/harlune/CommandSupport.h"
#include "tools/harlune/Recorder.h"

#include <cstdio>
#include <cstring>
#include <mutex>

namespace harlune::bench {

int LRunStampRecorderChild() {
    tools::LBlockStopSignals();
    struct Phase {
        std::uint64_t qwFirstNs = 0, qwLastNs = 0; // arrival of the first and last buffer
        std::uint64_t nFrames = 0;
        std::uint64_t nFirst = 0, nLast = 0; // sequence numbers seen
        std::uint64_t nGaps = 0;             // buffers missing between first and last
        bool bAny = false;
    };
    std::mutex mtx;
    LLatencySamples latency;
    Phase arPhases[9];
    std::uint64_t nOutOfOrder = 0;
    tools::LRecorderSink sink;
    sink.audio = [&](pid_t, const void* pBytes, std::size_t nBytes) {
        const std::uint64_t qwNow = mach_absolute_time();
        if (nBytes < sizeof(LBufferStamp)) {
            return;
        }
        LBufferStamp stamp;
        std::memcpy(&stamp, pBytes, sizeof stamp);
        std::lock_guard<std::mutex> lock(mtx);
        Phase& phase = arPhases[stamp.nPhase < 9 ? stamp.nPhase : 0];
        phase.nFrames += nBytes / 8;
        phase.qwLastNs = qwNow;
        if (!phase.bAny) {
            phase.bAny = true;
            phase.qwFirstNs = qwNow;
            phase.nFirst = stamp.nSequence;
        } else if (stamp.nSequence != phase.nLast + 1) {
            ++nOutOfOrder;
            if (stamp.nSequence > phase.nLast) {
                phase.nGaps += stamp.nSequence - phase.nLast - 1;
            }
        }
        phase.nLast = stamp.nSequence;
        if (stamp.nPhase == 1) {
            latency.Add(qwNow - stamp.qwSentNs);
        }
    };
    tools::LRecorder recorder(sink);
    if (!recorder.Start()) {
        return 1;
    }
    bool bAnnounced = false;
    int nTicks = 0;
    while (!tools::LWaitForStopSignal(std::chrono::milliseconds(50))) {
        recorder.Tick();
        if (!bAnnounced && recorder.IsRegistered()) {
            std::printf("registered\n");
            std::fflush(stdout);
            bAnnounced = true;
        }
        if (++nTicks % 20 == 0) {
            std::lock_guard<std::mutex> lock(mtx);
            for (int n = 1; n < 3; ++n) {
                if (arPhases[n].bAny) {
                    std::printf("stats %d %llu %llu %llu %llu\n", n, static_cast<unsigned long long>(arPhases[n].nFirst),
                                static_cast<unsigned long long>(arPhases[n].nLast),
                                static_cast<unsigned long long>(arPhases[n].nGaps),
                                static_cast<unsigned long long>(arPhases[n].nFrames));
                }
            }
            std::fflush(stdout);
        }
    }
    std::lock_guard<std::mutex> lock(mtx);
    std::printf("paced_frames %llu\nunpaced_frames %llu\nout_of_order %llu\nlatency_median_ns %.0f\n"
                "latency_p99_ns %.0f\n",
                static_cast<unsigned long long>(arPhases[1].nFrames), static_cast<unsigned long long>(arPhases[2].nFrames),
                static_cast<unsigned long long>(nOutOfOrder), latency.Quantile(0.5), latency.Quantile(0.99));
    for (int n = 1; n < 9; ++n) {
        if (arPhases[n].bAny) {
            std::printf("stats %d %llu %llu %llu %llu\n", n, static_cast<unsigned long long>(arPhases[n].nFirst),
                        static_cast<unsigned long long>(arPhases[n].nLast),
                        static_cast<unsigned long long>(arPhases[n].nGaps),
                        static_cast<unsigned long long>(arPhases[n].nFrames));
            std::printf("span_%d_ns %llu\nframes_%d %llu\n", n,
                        static_cast<unsigned long long>(arPhases[n].qwLastNs - arPhases[n].qwFirstNs), n,
                        static_cast<unsigned long long>(arPhases[n].nFrames));
        }
    }
    std::fflush(stdout);
    recorder.Close(std::chrono::milliseconds(200));
    return 0;
}

} // namespace harlune::bench
