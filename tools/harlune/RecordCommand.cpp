// harlune record FILE.wav: the recording application.
#include "tools/harlune/Commands.h"

#include "tools/harlune/CommandSupport.h"
#include "tools/harlune/Recorder.h"
#include "tools/harlune/RecordingBound.h"
#include "tools/wav/LWavWriter.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <mutex>

namespace harlune::tools {
namespace {

const char kUsage[] =
    "usage: harlune record FILE.wav [--rate HZ] [--duration SECONDS] [--frames N]\n"
    "                      [--wait-if-replaced] [--quiet]\n"
    "\n"
    "Publishes an endpoint, registers it with the helper service, and writes every\n"
    "buffer the device sends (2 channels, 32-bit float) to FILE.wav until SIGINT or\n"
    "SIGTERM, or until --duration seconds or --frames frames have been recorded.\n"
    "Prints volume changes as they come; in a terminal, a live line shows the time,\n"
    "the frames and the peak level. Registers again whenever the helper restarts.\n"
    "\n"
    "  --rate HZ        the sample rate written into the file (default 44100; the\n"
    "                   device's rate, which the buffers themselves do not carry)\n"
    "  --duration S     stop after S seconds of audio\n"
    "  --frames N       stop after N frames\n"
    "                   (either one also bounds the wait: without the frames, the\n"
    "                   recording stops 2 s after they would have taken, exit status 4)\n"
    "  --wait-if-replaced\n"
    "                   when a newer recorder takes over, wait to be chosen again\n"
    "                   once it goes (without it: finish the file, exit status 3)\n"
    "  --quiet          no live line\n";

// Exit statuses besides 0 (done), 1 (failure) and 2 (usage).
constexpr int kExitReplaced = 3;   // a newer recorder took over
constexpr int kExitIncomplete = 4; // the wall-clock bound passed before the frames came

// What has been recorded; written on XPC queues, read by the main thread.
struct Recording {
    std::mutex mtx;
    wav::LWavWriter writer;
    std::uint64_t nLimit = 0;   // frames to record; 0 is no limit
    float fPeak = 0.0f;         // since the last live line
    bool bWriteFailed = false;
    bool bLimitReached = false;
};

} // namespace

int LRunRecordCommand(const std::vector<std::string>& arArgs) {
    std::string szPath;
    double fRate = 44100.0, fDuration = 0.0, fFrames = 0.0;
    bool bQuiet = false, bWaitIfReplaced = false;
    for (std::size_t i = 0; i < arArgs.size(); ++i) {
        const std::string& szArg = arArgs[i];
        const bool bNext = i + 1 < arArgs.size();
        if (szArg == "--help" || szArg == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        } else if (szArg == "--rate" && bNext && LParseNumber(arArgs[i + 1], &fRate) && fRate >= 1 && fRate <= 768000) {
            ++i;
        } else if (szArg == "--duration" && bNext && LParseNumber(arArgs[i + 1], &fDuration) && fDuration > 0) {
            ++i;
        } else if (szArg == "--frames" && bNext && LParseNumber(arArgs[i + 1], &fFrames) && fFrames >= 1) {
            ++i;
        } else if (szArg == "--quiet") {
            bQuiet = true;
        } else if (szArg == "--wait-if-replaced") {
            bWaitIfReplaced = true;
        } else if (szPath.empty() && !szArg.empty() && szArg[0] != '-') {
            szPath = szArg;
        } else {
            std::fprintf(stderr, "harlune record: unexpected or invalid argument '%s'\n\n%s", szArg.c_str(), kUsage);
            return 2;
        }
    }
    if (szPath.empty()) {
        std::fprintf(stderr, "harlune record: no file given\n\n%s", kUsage);
        return 2;
    }
    LBlockStopSignals();

    Recording recording;
    std::string szError;
    if (!recording.writer.Open(szPath, static_cast<std::uint32_t>(fRate), 2, &szError)) {
        std::fprintf(stderr, "harlune record: %s\n", szError.c_str());
        return 1;
    }
    if (fFrames > 0) {
        recording.nLimit = static_cast<std::uint64_t>(fFrames);
    } else if (fDuration > 0) {
        recording.nLimit = static_cast<std::uint64_t>(std::llround(fDuration * fRate));
    }

    LRecorderSink sink;
    sink.audio = [&recording](const void* pBytes, std::size_t nBytes) {
        std::lock_guard<std::mutex> lock(recording.mtx);
        if (pBytes == nullptr || recording.bLimitReached || recording.bWriteFailed) {
            return;
        }
        const auto* pfFrames = static_cast<const float*>(pBytes);
        std::uint64_t nFrames = nBytes / 8;
        if (recording.nLimit != 0) {
            nFrames = std::min(nFrames, recording.nLimit - recording.writer.Frames());
        }
        for (std::uint64_t i = 0; i < nFrames * 2; ++i) {
            recording.fPeak = std::max(recording.fPeak, std::fabs(pfFrames[i]));
        }
        recording.bWriteFailed = !recording.writer.Append(pfFrames, nFrames);
        recording.bLimitReached = recording.nLimit != 0 && recording.writer.Frames() >= recording.nLimit;
    };
    sink.volume = [](double fVolume) {
        // On standard output, one line each, for people and scripts alike.
        std::printf("volume: %.6f\n", fVolume);
        std::fflush(stdout);
    };
    sink.log = [](const std::string& szLine) { LLogLine("record", szLine); };

    LRecorder recorder(sink, bWaitIfReplaced);
    const LRecordingBound bound(recording.nLimit, fRate, LRecordingBound::LClock::now());
    if (!recorder.Start()) {
        std::fprintf(stderr, "harlune record: cannot publish an endpoint\n");
        return 1;
    }
    const bool bLive = !bQuiet && isatty(STDOUT_FILENO);
    bool bRegistered = false, bReceiving = false;
    int nExit = 0;
    while (!LWaitForStopSignal(std::chrono::milliseconds(100))) {
        recorder.Tick();
        if (recorder.IsRegistered() != bRegistered) {
            bRegistered = !bRegistered;
            // Readiness for scripts: a line on standard output each time the
            // recorder (re)registers with the helper service.
            if (bRegistered) {
                std::printf("registered\n");
                std::fflush(stdout);
            }
        }
        std::lock_guard<std::mutex> lock(recording.mtx);
        if (!bReceiving && recording.writer.Frames() > 0) {
            // For scripts too: audio arrives, so a plug-in has found us.
            bReceiving = true;
            std::printf(bLive ? "\rreceiving\n" : "receiving\n");
            std::fflush(stdout);
        }
        if (bLive) {
            const double fSeconds = static_cast<double>(recording.writer.Frames()) / fRate;
            const double fPeakDb = recording.fPeak > 0 ? 20.0 * std::log10(recording.fPeak) : -120.0;
            std::printf("\r%02d:%04.1f  %10llu frames  peak %6.1f dBFS ", static_cast<int>(fSeconds / 60),
                        std::fmod(fSeconds, 60.0), static_cast<unsigned long long>(recording.writer.Frames()), fPeakDb);
            std::fflush(stdout);
            recording.fPeak = 0.0f;
        }
        if (recording.bWriteFailed) {
            LLogLine("record", "cannot write to " + szPath + "; stopping");
            nExit = 1;
            break;
        }
        if (recording.bLimitReached) {
            break;
        }
        if (recorder.IsReplaced() && !bWaitIfReplaced) {
            LLogLine("record", "another recorder took over; finishing " + szPath);
            nExit = kExitReplaced;
            break;
        }
        if (bound.Passed(LRecordingBound::LClock::now(), recording.writer.Frames())) {
            LLogLine("record", bound.Describe(LRecordingBound::LClock::now(), recording.writer.Frames()));
            nExit = kExitIncomplete;
            break;
        }
    }
    if (bLive) {
        std::printf("\n");
    }
    recorder.Close(std::chrono::milliseconds(500));
    std::lock_guard<std::mutex> lock(recording.mtx);
    const std::uint64_t nFrames = recording.writer.Frames();
    if (!recording.writer.Finish()) {
        LLogLine("record", "cannot complete " + szPath);
        return 1;
    }
    std::printf("recorded %llu frames (%.3f s) to %s\n", static_cast<unsigned long long>(nFrames),
                static_cast<double>(nFrames) / fRate, szPath.c_str());
    return nExit;
}

} // namespace harlune::tools
