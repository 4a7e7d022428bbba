// harlune record FILE: the recording application.
#include "tools/harlune/Commands.h"

#include "files/LFiles.h"
#include "host/LServiceFolder.h"
#include "tools/harlune/CommandSupport.h"
#include "tools/harlune/DatedFileName.h"
#include "tools/harlune/DeviceRates.h"
#include "tools/harlune/HelperProbe.h"
#include "tools/harlune/LevelMeter.h"
#include "tools/harlune/LiveLineThread.h"
#include "tools/harlune/Recorder.h"
#include "tools/harlune/RecordingBound.h"
#include "tools/harlune/RecordingFile.h"
#include "tools/harlune/SenderNames.h"
#include "tools/harlune/StreamMixer.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <map>
#include <memory>
#include <mutex>

namespace harlune::tools {
namespace {

const char kUsage[] =
    "usage: harlune record [OPTIONS] [FILE]\n"
    "\n"
    "Publishes an endpoint, registers it with the helper service, and writes what\n"
    "\"Harlune Virtual Device\" plays to FILE (\"-\" for standard output) until SIGINT,\n"
    "SIGTERM or SIGHUP, or until --duration or --frames is reached. The file is\n"
    "labelled with the device's rate; when the device changes its rate the file\n"
    "ends and the next one begins (take.wav, take-2.wav, ...), unless --rate fixes\n"
    "the file's rate and the audio is resampled to it. The header is kept valid\n"
    "while recording, so a killed recorder loses at most the last second.\n"
    "Prints volume changes on standard output; in a terminal, a live line shows\n"
    "the time, a meter per channel and the count of clipped samples.\n"
    "Without FILE, the recording goes to the current folder, named by the local\n"
    "date and time it starts: 2026-11-23_16-05-09.wav (or the format's extension).\n"
    "\n"
    "  -f, --format NAME   wav (32-bit float, the default), wav16, wav24, flac\n"
    "                      (24-bit), flac16, raw (32-bit float); by default from\n"
    "                      FILE's extension (.wav, .flac, .raw). WAV becomes RF64\n"
    "                      past 4 GiB. A pipe takes flac or raw.\n"
    "  -r, --rate HZ       write at HZ (1000 to 768000), resampling the device\n"
    "  -c, --channels N    1 (the two channels mixed) or 2 (default)\n"
    "  -d, --duration S    stop after S seconds of audio\n"
    "      --frames N      stop after N frames\n"
    "                      (either one also bounds the wait: without the audio,\n"
    "                      the recording stops 2 s after it would have taken,\n"
    "                      exit status 4)\n"
    "      --quality Q     resampling: quick, low, medium, high (default), very-high\n"
    "      --per-app       one file per application, named after its process\n"
    "                      (take-aplay-1234.wav); by default the applications\n"
    "                      playing at once are mixed into FILE\n"
    "      --wait-if-replaced\n"
    "                      when a newer recorder takes over, wait to be chosen again\n"
    "                      once it goes (without it: finish the file, exit status 3)\n"
    "  -q, --quiet         no live line\n"
    "      --version       the program's version\n";

// The device's rate when its host publishes none: its rate at start-up.
constexpr double kAssumedDeviceRate = 44100.0;

// Exit statuses besides 0 (done), 1 (failure) and 2 (usage).
constexpr int kExitReplaced = 3;   // a newer recorder took over
constexpr int kExitIncomplete = 4; // the wall-clock bound passed before the audio came

// What has been recorded; written on XPC queues, read by the main thread.
struct Recording {
    std::mutex mtx;
    LRecordingFile* pFile = nullptr;   // the one file (the mix)
    LRecordingFile* pShown = nullptr;  // the file the live line shows: the last written
    LDeviceRates rates;
    LLevelMeter meter{2};
    int nChannels = 2;
    double fFixedRate = 0;
    std::vector<float> arMono;   // the mixed channel, reused
    std::string szError;         // set once when writing failed
    bool bFailed = false;
    bool bLimitReached = false;
    bool bWarnedRate = false;    // told that a sender publishes no rate
    std::vector<std::string> arNotes; // lines for the log, from the file's side
    // Several applications at once: their streams are mixed into pFile, or
    // (per application) each written to a file of its own.
    std::unique_ptr<LStreamMixer> pMixer;
    LRecordingOptions options;
    std::map<pid_t, std::unique_ptr<LRecordingFile>> perApp;
};

int Usage(const std::string& szWhy) {
    std::fprintf(stderr, "harlune record: %s\n\n%s", szWhy.c_str(), kUsage);
    return 2;
}

std::string LiveLine(Recording& recording) {
    const double fSeconds = recording.pShown->TotalSeconds();
    char sz[256];
    std::snprintf(sz, sizeof sz, "%02d:%04.1f", static_cast<int>(fSeconds / 60), std::fmod(fSeconds, 60.0));
    std::string szLine = sz;
    const std::vector<float> arPeaks = recording.meter.TakePeaks();
    const char* const arNames[] = {"L", "R"};
    for (std::size_t c = 0; c < arPeaks.size(); ++c) {
        std::snprintf(sz, sizeof sz, "  %s [%s] %6.1f", arPeaks.size() == 1 ? "M" : arNames[c % 2],
                      LLevelMeter::Bar(arPeaks[c], 20).c_str(), LLevelMeter::Decibels(arPeaks[c]));
        szLine += sz;
    }
    std::snprintf(sz, sizeof sz, " dBFS  clips %llu", static_cast<unsigned long long>(recording.meter.Clips()));
    szLine += sz;
    if (recording.pShown->FileRate() > 0) {
        std::snprintf(sz, sizeof sz, "  %.0f Hz", recording.pShown->FileRate());
        szLine += sz;
    }
    return szLine;
}

} // namespace

int LRunRecordCommand(const std::vector<std::string>& arArgs) {
    LRecordingOptions options;
    double fChannels = 2, fFrames = 0;
    bool bQuiet = false, bFormatGiven = false, bWaitIfReplaced = false, bPerApp = false;
    std::string szError;
    for (std::size_t i = 0; i < arArgs.size(); ++i) {
        const std::string& szArg = arArgs[i];
        const bool bNext = i + 1 < arArgs.size();
        auto needValue = [&]() { return bNext ? true : (szError = szArg + " needs a value", false); };
        if (LIsHelpOrVersion(szArg, kUsage)) {
            return 0;
        } else if (szArg == "-f" || szArg == "--format") {
            if (!needValue()) {
                return Usage(szError);
            }
            if (!audio::LParseRecordFormat(arArgs[++i], &options.eFormat)) {
                return Usage("unknown format '" + arArgs[i] + "'; the formats are " + audio::LRecordFormatNames());
            }
            bFormatGiven = true;
        } else if (szArg == "-r" || szArg == "--rate") {
            if (!needValue() || !LParseOptionNumber(szArg, arArgs[++i], 1000, 768000, &options.fFixedRate, &szError)) {
                return Usage(szError);
            }
        } else if (szArg == "-c" || szArg == "--channels") {
            if (!needValue() || !LParseOptionNumber(szArg, arArgs[++i], 1, 2, &fChannels, &szError) ||
                fChannels != std::floor(fChannels)) {
                return Usage(szError.empty() ? szArg + " takes 1 or 2, not '" + arArgs[i] + "'" : szError);
            }
        } else if (szArg == "-d" || szArg == "--duration") {
            if (!needValue() ||
                !LParseOptionNumber(szArg, arArgs[++i], 0.001, 1e7, &options.fSecondsLimit, &szError)) {
                return Usage(szError);
            }
        } else if (szArg == "--frames") {
            if (!needValue() || !LParseOptionNumber(szArg, arArgs[++i], 1, 1e15, &fFrames, &szError) ||
                fFrames != std::floor(fFrames)) {
                return Usage(szError.empty() ? "--frames takes a whole number, not '" + arArgs[i] + "'" : szError);
            }
        } else if (szArg == "--quality") {
            if (!needValue()) {
                return Usage(szError);
            }
            if (!audio::LParseResampleQuality(arArgs[++i], &options.eQuality)) {
                return Usage("--quality takes quick, low, medium, high or very-high, not '" + arArgs[i] + "'");
            }
        } else if (szArg == "--per-app") {
            bPerApp = true;
        } else if (szArg == "-q" || szArg == "--quiet") {
            bQuiet = true;
        } else if (szArg == "--wait-if-replaced") {
            bWaitIfReplaced = true;
        } else if (options.szPath.empty() && !szArg.empty() && (szArg[0] != '-' || szArg == "-")) {
            options.szPath = szArg;
        } else {
            return Usage("unexpected argument '" + szArg + "'");
        }
    }
    if (!options.szPath.empty() && options.szPath != "-") {
        // The file name a person typed is held to the library's name rules,
        // and refused with the same message any application of ours shows.
        char szName[kLMaxPath];
        char szMessage[kLMaxPath];
        LFile::_GetFileFromPath(szName, options.szPath.c_str());
        if (!LFile::IsFileValid(szName, szMessage)) {
            std::fprintf(stderr, "harlune record: %s: %s\n", options.szPath.c_str(), szMessage);
            return 2;
        }
    }
    if (options.szPath.empty()) {
        options.szPath = LDatedRecordingPath(static_cast<long>(std::time(nullptr)), "",
                                             audio::LRecordFormatExtension(options.eFormat));
        LLogLine("record", "recording into " + options.szPath);
    }
    if (!bFormatGiven && options.szPath != "-" && !audio::LRecordFormatFromPath(options.szPath, &options.eFormat)) {
        options.eFormat = audio::LRecordFormat::WavFloat; // no extension we know: the default
    }
    if (bPerApp && options.szPath == "-") {
        return Usage("--per-app writes files; it cannot write to standard output");
    }
    options.nFrameLimit = static_cast<std::uint64_t>(fFrames);
    options.nChannels = static_cast<int>(fChannels);
    LBlockStopSignals();

    // With the audio on standard output, every word goes to standard error.
    const bool bToStdout = options.szPath == "-";
    std::FILE* const pWords = bToStdout ? stderr : stdout;
    std::string szProblem;
    if (!host::LCheckServiceFolder(&szProblem)) {
        std::fprintf(stderr, "harlune record: %s\n", szProblem.c_str());
        return 1;
    }

    Recording recording;
    recording.nChannels = options.nChannels;
    recording.fFixedRate = options.fFixedRate;
    recording.meter = LLevelMeter(options.nChannels);
    LRecordingFile file(options, [&recording](const std::string& szNote) { recording.arNotes.push_back(szNote); });
    recording.pFile = &file;
    if (!file.CheckWritable(&szError)) {
        std::fprintf(stderr, "harlune record: %s\n", szError.c_str());
        return 1;
    }

    // Writes what the mixer hands on (under recording.mtx, which the mixer
    // runs under): the mix to FILE, or one application's frames to its own.
    auto write = [&recording](pid_t nKey, const float* pfFrames, std::uint64_t nFrames, double fRate) {
        if (recording.bLimitReached || recording.bFailed) {
            return;
        }
        LRecordingFile* pFile = recording.pFile;
        if (nKey != 0) {
            std::unique_ptr<LRecordingFile>& pOwn = recording.perApp[nKey];
            if (!pOwn) {
                LRecordingOptions own = recording.options;
                own.szPath = LPathForSender(recording.options.szPath, LSenderName(nKey), nKey);
                recording.arNotes.push_back("recording the application with pid " + std::to_string(nKey) + " to " +
                                            own.szPath);
                pOwn = std::make_unique<LRecordingFile>(
                    own, [&recording](const std::string& szNote) { recording.arNotes.push_back(szNote); });
            }
            pFile = pOwn.get();
            if (pFile->LimitReached()) {
                return;
            }
        }
        recording.pShown = pFile;
        if (recording.nChannels == 1) {
            recording.arMono.resize(nFrames);
            for (std::uint64_t i = 0; i < nFrames; ++i) {
                recording.arMono[i] = 0.5f * (pfFrames[2 * i] + pfFrames[2 * i + 1]);
            }
            pfFrames = recording.arMono.data();
        }
        recording.meter.Add(pfFrames, nFrames);
        std::string szWriteError;
        switch (pFile->Append(pfFrames, nFrames, fRate, &szWriteError)) {
        case LAppendResult::Written: break;
        case LAppendResult::LimitReached:
            // Per application, the recording ends when every file is full.
            recording.bLimitReached =
                nKey == 0 || std::all_of(recording.perApp.begin(), recording.perApp.end(),
                                         [](const auto& entry) { return entry.second->LimitReached(); });
            break;
        case LAppendResult::Failed:
            recording.bFailed = true;
            recording.szError = szWriteError;
            break;
        }
    };
    LStreamMixer::LOptions mixing;
    mixing.bPerSender = bPerApp;
    recording.options = options;
    recording.pShown = &file;
    recording.pMixer = std::make_unique<LStreamMixer>(
        mixing, write, [&recording](const std::string& szNote) { recording.arNotes.push_back(szNote); });

    LRecorderSink sink;
    sink.audio = [&recording](pid_t nSender, const void* pBytes, std::size_t nBytes) {
        std::lock_guard<std::mutex> lock(recording.mtx);
        if (recording.bLimitReached || recording.bFailed) {
            return;
        }
        // An empty buffer marks a change of the device's rate.
        double fRate = recording.rates.RateOf(nSender, nBytes == 0);
        if (pBytes == nullptr || nBytes < 8) {
            return;
        }
        if (!(fRate > 0)) {
            // A host that publishes nothing: its device is taken to run at
            // the fixed rate when one is given (no resampling), else at the
            // device's start-up rate; said once.
            fRate = recording.fFixedRate > 0 ? recording.fFixedRate : kAssumedDeviceRate;
            if (!recording.bWarnedRate) {
                recording.bWarnedRate = true;
                char sz[160];
                std::snprintf(sz, sizeof sz, "the sender (pid %d) publishes no device rate; taking it as %.0f Hz",
                              static_cast<int>(nSender), fRate);
                recording.arNotes.push_back(sz);
            }
        }
        recording.pMixer->Push(nSender, static_cast<const float*>(pBytes), nBytes / 8, fRate,
                               LStreamMixer::LClock::now());
    };
    sink.volume = [pWords](double fVolume) {
        // One line each, for people and scripts alike.
        char sz[64];
        std::snprintf(sz, sizeof sz, "volume: %.6f", fVolume);
        LPrintLine(pWords, sz);
    };
    sink.log = [](const std::string& szLine) { LLogLine("record", szLine); };

    LRecorder recorder(sink, bWaitIfReplaced);
    // The wall-clock bound counts frames at the rate the file will most
    // likely have; a duration is counted in frames at the start-up rate.
    const double fBoundRate = options.fFixedRate > 0 ? options.fFixedRate : kAssumedDeviceRate;
    const std::uint64_t nBoundFrames =
        options.nFrameLimit != 0 ? options.nFrameLimit
                                 : static_cast<std::uint64_t>(std::llround(options.fSecondsLimit * fBoundRate));
    const LRecordingBound bound(nBoundFrames, fBoundRate, LRecordingBound::LClock::now());
    // Per application, the bound counts the file written last.
    auto recorded = [&]() {
        const LRecordingFile& shown = *recording.pShown;
        return options.nFrameLimit != 0 ? shown.TotalFrames()
                                        : static_cast<std::uint64_t>(std::llround(shown.TotalSeconds() * fBoundRate));
    };
    if (!recorder.Start()) {
        std::fprintf(stderr, "harlune record: cannot publish an endpoint\n");
        return 1;
    }
    const bool bLive = !bQuiet && isatty(STDERR_FILENO);
    bool bRegistered = false, bReceiving = false;
    bool bToldNoHelper = false;
    int nExit = 0;
    const auto start = std::chrono::steady_clock::now();
    auto lastHeader = start;
    // The live line comes from a thread of its own, as queued notifications
    // drawn on this (the main) thread while it runs its run loop between two
    // looks at the recording.
    LLiveLineDisplay liveDisplay;
    std::unique_ptr<LLiveLineThread> pLiveThread;
    if (bLive) {
        pLiveThread = std::make_unique<LLiveLineThread>(
            &liveDisplay,
            [&recording] {
                std::lock_guard<std::mutex> lock(recording.mtx);
                return LiveLine(recording);
            },
            250);
        pLiveThread->Start();
    }
    while (!LRunMainUntilStopSignal(std::chrono::milliseconds(100))) {
        recorder.Tick();
        const auto now = std::chrono::steady_clock::now();
        if (recorder.IsRegistered() != bRegistered) {
            bRegistered = !bRegistered;
            // Readiness for scripts: a line each time the recorder
            // (re)registers with the helper service.
            if (bRegistered) {
                LPrintLine(pWords, "registered");
            }
        }
        if (!bRegistered && !bToldNoHelper && now - start >= std::chrono::seconds(1) &&
            LProbeHelper(std::chrono::milliseconds(500)).eState == LHelperState::NotRunning) {
            bToldNoHelper = true;
            LLogLine("record", LNoHelperText() + "; waiting for it");
        }
        std::lock_guard<std::mutex> lock(recording.mtx);
        recording.pMixer->Tick(LStreamMixer::LClock::now());
        if (!bReceiving && recording.pShown->TotalFrames() > 0) {
            // For scripts too: audio arrives, so a plug-in has found us.
            bReceiving = true;
            LPrintLine(pWords, "receiving");
        }
        for (const std::string& szNote : recording.arNotes) {
            LLogLine("record", szNote);
        }
        recording.arNotes.clear();
        // Twice a second, so that with the loop's own pace a killed
        // recorder never loses more than a second.
        if (now - lastHeader >= std::chrono::milliseconds(500)) {
            lastHeader = now;
            std::string szHeaderError;
            if (!file.UpdateHeader(&szHeaderError) && !recording.bFailed) {
                recording.bFailed = true;
                recording.szError = szHeaderError;
            }
            for (auto& entry : recording.perApp) {
                if (!entry.second->UpdateHeader(&szHeaderError) && !recording.bFailed) {
                    recording.bFailed = true;
                    recording.szError = szHeaderError;
                }
            }
        }
        if (recording.bFailed) {
            LLogLine("record", recording.szError + "; stopping");
            nExit = 1;
            break;
        }
        if (recording.bLimitReached) {
            break;
        }
        if (recorder.IsReplaced() && !bWaitIfReplaced) {
            LLogLine("record", "another recorder took over; finishing " +
                                   (options.szPath == "-" ? std::string("the recording") : options.szPath));
            nExit = kExitReplaced;
            break;
        }
        if (bound.Passed(LRecordingBound::LClock::now(), recorded())) {
            LLogLine("record", bound.Describe(LRecordingBound::LClock::now(), recorded()));
            nExit = kExitIncomplete;
            break;
        }
    }
    // Stopped and destroyed before the line ends: no line is drawn after it.
    pLiveThread.reset();
    if (bLive) {
        LEndLiveLine();
    }
    recorder.Close(std::chrono::milliseconds(500));
    std::lock_guard<std::mutex> lock(recording.mtx);
    recording.pMixer->Flush();
    for (const std::string& szNote : recording.arNotes) {
        LLogLine("record", szNote);
    }
    std::vector<LRecordingFile*> arFiles;
    if (bPerApp) {
        for (auto& entry : recording.perApp) {
            arFiles.push_back(entry.second.get());
        }
    } else {
        arFiles.push_back(&file);
    }
    bool bAnyTake = false;
    for (LRecordingFile* pFile : arFiles) {
        if (!pFile->Finish(&szError)) {
            LLogLine("record", szError);
            nExit = 1;
        }
        for (const LRecordingTake& take : pFile->Takes()) {
            bAnyTake = true;
            std::fprintf(pWords, "recorded %llu frames (%.3f s at %.0f Hz) to %s\n",
                         static_cast<unsigned long long>(take.nFrames),
                         take.fSampleRate > 0 ? static_cast<double>(take.nFrames) / take.fSampleRate : 0.0,
                         take.fSampleRate, take.szPath.c_str());
        }
    }
    if (!bAnyTake) {
        std::fprintf(pWords, "recorded nothing: the device sent no audio\n");
    }
    return nExit;
}

} // namespace harlune::tools
