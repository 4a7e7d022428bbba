// harlune demo: the whole job, end to end, checked bit for bit.
//
// Starts the helper service and a recorder as real processes with their
// sockets in a private folder, plays a generated signal through the device
// in real time, and compares the recording with what was played.
#include "tools/harlune/Commands.h"

#include "tools/harlune/BundleLocation.h"
#include "tools/harlune/ChildProcess.h"
#include "tools/harlune/CommandSupport.h"
#include "tools/harlune/Player.h"
#include "tools/harlune/TestSignal.h"
#include "tools/audio/LAudioFileReader.h"

#include <signal.h>
#include <sys/stat.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace harlune::tools {
namespace {

const char kUsage[] =
    "usage: harlune demo [--seconds S] [--keep] [--bundle PATH]\n"
    "\n"
    "Starts the helper service and a recorder (harlune helper, harlune record) with\n"
    "their sockets in a private folder, plays a generated signal of S seconds\n"
    "(default 3) through \"Harlune Virtual Device\" in real time, and checks that the\n"
    "recording holds exactly the frames played, bit for bit, in order.\n"
    "\n"
    "  --keep    keep the private folder with the recording (its path is printed)\n";

struct Folder {
    std::string szPath;
    bool bKeep = false;
    ~Folder() {
        if (!szPath.empty() && !bKeep) {
            std::error_code ec;
            std::filesystem::remove_all(szPath, ec);
        }
    }
};

} // namespace

int LRunDemoCommand(const std::vector<std::string>& arArgs) {
    double fSeconds = 3.0;
    Folder folder;
    host::LHostOptions hostOptions;
    hostOptions.szBundlePath = LDefaultBundlePath();
    for (std::size_t i = 0; i < arArgs.size(); ++i) {
        const std::string& szArg = arArgs[i];
        if (szArg == "--help" || szArg == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        } else if (szArg == "--seconds" && i + 1 < arArgs.size() && LParseNumber(arArgs[i + 1], &fSeconds) &&
                   fSeconds > 0 && fSeconds <= 3600) {
            ++i;
        } else if (szArg == "--keep") {
            folder.bKeep = true;
        } else if (szArg == "--bundle" && i + 1 < arArgs.size()) {
            hostOptions.szBundlePath = arArgs[++i];
        } else {
            std::fprintf(stderr, "harlune demo: unexpected or invalid argument '%s'\n\n%s", szArg.c_str(), kUsage);
            return 2;
        }
    }
    LBlockStopSignals();

    const char* szTmp = std::getenv("TMPDIR");
    std::string szTemplate = std::string(szTmp != nullptr && szTmp[0] != '\0' ? szTmp : "/tmp") + "/harlune-demo.XXXXXX";
    if (mkdtemp(szTemplate.data()) == nullptr) {
        std::perror("harlune demo: cannot make a private folder");
        return 1;
    }
    folder.szPath = szTemplate;
    const std::string szServices = folder.szPath + "/services";
    mkdir(szServices.c_str(), 0700);
    const std::string szRecording = folder.szPath + "/recording.wav";
    hostOptions.szStorageFolder = folder.szPath + "/storage";
    // Everything in this process and its children finds its services here.
    setenv("HARLUNE_XPC_SERVICE_DIR", szServices.c_str(), 1);

    const std::string szSelf = LSelfExecutable();
    LChildProcess helper;
    if (!helper.Start(szSelf, {"helper"}) || !helper.WaitForLine("ready", std::chrono::seconds(10))) {
        std::fprintf(stderr, "harlune demo: the helper service did not start\n");
        return 1;
    }

    // A whole number of 512-frame cycles, so nothing is padded.
    const double fRate = 44100.0;
    const std::uint64_t nFrames = (static_cast<std::uint64_t>(std::llround(fSeconds * fRate)) + 511) / 512 * 512;
    LChildProcess recorder;
    if (!recorder.Start(szSelf, {"record", szRecording, "--frames", std::to_string(nFrames), "--quiet"}) ||
        !recorder.WaitForLine("registered", std::chrono::seconds(10))) {
        std::fprintf(stderr, "harlune demo: the recorder did not register with the helper service\n");
        return 1;
    }

    std::string szError;
    auto pPlayer = LPlayer::Load(hostOptions, &szError);
    if (!pPlayer) {
        std::fprintf(stderr, "harlune demo: %s\n", szError.c_str());
        return 1;
    }
    if (!pPlayer->WaitForRecorder(std::chrono::seconds(10))) {
        std::fprintf(stderr, "harlune demo: the plug-in did not reach the recorder\n");
        return 1;
    }
    std::printf("playing %llu frames (%.2f s at %.0f Hz) through \"Harlune Virtual Device\"...\n",
                static_cast<unsigned long long>(nFrames), static_cast<double>(nFrames) / fRate, fRate);
    std::fflush(stdout);
    LPlayOptions options;
    options.nFrames = nFrames;
    options.source = [fRate](float* pf, std::uint64_t nFirst, std::uint32_t nCount) {
        LFillTestSignal(pf, nFirst, nCount, fRate);
    };
    options.stop = [] { return LWaitForStopSignal(std::chrono::milliseconds(0)); };
    const LPlayReport report = pPlayer->Play(options);

    // The recorder ends by itself once it has every frame; a loss would
    // keep it waiting, so it is stopped after a grace period.
    int nRecorderExit = recorder.Wait(std::chrono::seconds(10));
    if (nRecorderExit == -1) {
        recorder.Signal(SIGINT);
        nRecorderExit = recorder.Wait(std::chrono::seconds(10));
    }
    helper.Signal(SIGTERM);
    helper.Wait(std::chrono::seconds(10));
    pPlayer.reset();

    audio::LAudioFileContents recorded;
    if (!audio::LReadAudioFile(szRecording, &recorded, &szError) || recorded.nChannels != 2) {
        std::fprintf(stderr, "harlune demo: cannot read the recording: %s\n", szError.c_str());
        return 1;
    }
    const std::uint64_t nRecorded = recorded.arFrames.size() / 2;
    std::vector<float> expected(2 * 512);
    std::uint64_t nMismatches = 0, nFirstMismatch = 0;
    for (std::uint64_t nFirst = 0; nFirst < std::min(nRecorded, nFrames); nFirst += 512) {
        const std::uint32_t nCount = static_cast<std::uint32_t>(std::min<std::uint64_t>(512, std::min(nRecorded, nFrames) - nFirst));
        LFillTestSignal(expected.data(), nFirst, nCount, fRate);
        for (std::uint32_t i = 0; i < nCount; ++i) {
            if (std::memcmp(&expected[2 * i], &recorded.arFrames[2 * (nFirst + i)], 8) != 0) {
                if (nMismatches++ == 0) {
                    nFirstMismatch = nFirst + i;
                }
            }
        }
    }
    const std::uint64_t nLost = nFrames > nRecorded ? nFrames - nRecorded : 0;
    std::printf("frames played:   %llu (%llu cycles, %llu late, longest cycle %.1f us)\n",
                static_cast<unsigned long long>(report.nFramesPlayed), static_cast<unsigned long long>(report.nCycles),
                static_cast<unsigned long long>(report.nLateCycles),
                static_cast<double>(report.qwLongestCycleNs) / 1000.0);
    std::printf("frames recorded: %llu\n", static_cast<unsigned long long>(nRecorded));
    std::printf("frames lost:     %llu\n", static_cast<unsigned long long>(nLost));
    std::printf("frames differing: %llu", static_cast<unsigned long long>(nMismatches));
    if (nMismatches > 0) {
        std::printf(" (first at frame %llu)", static_cast<unsigned long long>(nFirstMismatch));
    }
    std::printf("\nrecording:       %s%s\n", szRecording.c_str(), folder.bKeep ? "" : " (removed; --keep keeps it)");
    const bool bOk = nLost == 0 && nMismatches == 0 && nRecorded == nFrames && report.nFramesPlayed == nFrames &&
                     nRecorderExit == 0;
    std::printf("%s\n", bOk ? "OK: the recording is bit-identical to what was played"
                            : "FAILED: the recording differs from what was played");
    return bOk ? 0 : 1;
}

} // namespace harlune::tools
