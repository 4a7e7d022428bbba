// harlune play [FILE]: plays a file or a test signal into the device.
#include "tools/harlune/Commands.h"

#include "host/LServiceFolder.h"
#include "tools/audio/LAudioFileReader.h"
#include "tools/audio/LLoadForDevice.h"
#include "tools/harlune/BundleLocation.h"
#include "tools/harlune/CommandSupport.h"
#include "tools/harlune/HelperProbe.h"
#include "tools/harlune/Player.h"
#include "tools/harlune/TestSignal.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <thread>

namespace harlune::tools {
namespace {

const char kUsage[] =
    "usage: harlune play [OPTIONS] [FILE]\n"
    "\n"
    "Loads the driver as the audio server does and plays FILE (\"-\" for standard\n"
    "input) into \"Harlune Virtual Device\", in real time through the device's IO\n"
    "cycle. Every format libsndfile reads plays (WAV of any sample format, RF64,\n"
    "AIFF, FLAC, Ogg); other rates are resampled to the device's rate, mono is\n"
    "played on both channels and more than two channels are mixed down. Without a\n"
    "file it plays a test tone (440 Hz left, 660 Hz right).\n"
    "\n"
    "When the helper service knows a recorder, play waits (up to 5 seconds) until\n"
    "the plug-in's link to it is up, so the recording holds every frame.\n"
    "\n"
    "  -r, --rate HZ       switch the device to HZ (44100 or 48000) first\n"
    "  -d, --seconds S     the test tone's length (default 5)\n"
    "      --raw E,RATE,CH FILE is headerless: encoding (s8, u8, s16, s24, s32, f32,\n"
    "                      f64; little-endian), rate and channels, e.g. s16,44100,2\n"
    "      --quality Q     resampling: quick, low, medium, high (default), very-high\n"
    "      --volume V      set the device's output volume scalar (0 to 1) first\n"
    "      --fast          run the IO cycle unpaced, as fast as the driver takes it\n"
    "      --wait-for-recorder S  wait up to S seconds for a recorder even when the\n"
    "                      helper service knows none yet\n"
    "  -q, --quiet         no progress line\n"
    "      --bundle PATH   the driver bundle (default: beside this program)\n"
    "      --storage DIR   the plug-in storage folder\n"
    "      --version       the program's version\n"
    "\n"
    "Exit status: 0 played and recorded; 1 an error; 2 wrong usage; 3 played, but no\n"
    "recorder received the audio.\n";

// How long play waits for the plug-in's link to a recorder the helper knows.
constexpr auto kRecorderWait = std::chrono::seconds(5);
// How long the helper service is given to answer.
constexpr auto kHelperAnswer = std::chrono::milliseconds(1000);
constexpr int kExitNotRecorded = 3;

int Usage(const std::string& szWhy) {
    std::fprintf(stderr, "harlune play: %s\n\n%s", szWhy.c_str(), kUsage);
    return 2;
}

int Fail(const std::string& szWhy) {
    std::fprintf(stderr, "harlune play: %s\n", szWhy.c_str());
    return 1;
}

void Warn(const std::string& szWhat) { std::fprintf(stderr, "harlune play: warning: %s\n", szWhat.c_str()); }

} // namespace

int LRunPlayCommand(const std::vector<std::string>& arArgs) {
    std::string szFile, szError;
    double fRate = 0, fSeconds = 5, fVolume = -1, fWait = 0;
    bool bFast = false, bQuiet = false, bRaw = false;
    audio::LRawLayout raw;
    audio::LResampleQuality eQuality = audio::LResampleQuality::High;
    host::LHostOptions hostOptions;
    hostOptions.szBundlePath = LDefaultBundlePath();
    for (std::size_t i = 0; i < arArgs.size(); ++i) {
        const std::string& szArg = arArgs[i];
        const bool bNext = i + 1 < arArgs.size();
        auto number = [&](double fMin, double fMax, double* pf) {
            if (!bNext) {
                szError = szArg + " needs a value";
                return false;
            }
            return LParseOptionNumber(szArg, arArgs[++i], fMin, fMax, pf, &szError);
        };
        if (szArg == "--help" || szArg == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        } else if (szArg == "--version") {
            std::printf("%s\n", LVersionText());
            return 0;
        } else if (szArg == "-r" || szArg == "--rate") {
            if (!number(1000, 768000, &fRate)) {
                return Usage(szError);
            }
        } else if (szArg == "-d" || szArg == "--seconds" || szArg == "--duration") {
            if (!number(0.001, 86400, &fSeconds)) {
                return Usage(szError);
            }
        } else if (szArg == "--volume") {
            if (!number(0, 1, &fVolume)) {
                return Usage(szError);
            }
        } else if (szArg == "--wait-for-recorder") {
            if (!number(0, 3600, &fWait)) {
                return Usage(szError);
            }
        } else if (szArg == "--raw") {
            if (!bNext || !audio::LParseRawLayout(arArgs[++i], &raw, &szError)) {
                return Usage(szError.empty() ? "--raw needs ENCODING,RATE,CHANNELS" : szError);
            }
            bRaw = true;
        } else if (szArg == "--quality") {
            if (!bNext || !audio::LParseResampleQuality(arArgs[++i], &eQuality)) {
                return Usage("--quality takes quick, low, medium, high or very-high");
            }
        } else if (szArg == "--fast") {
            bFast = true;
        } else if (szArg == "-q" || szArg == "--quiet") {
            bQuiet = true;
        } else if (szArg == "--bundle" && bNext) {
            hostOptions.szBundlePath = arArgs[++i];
        } else if (szArg == "--storage" && bNext) {
            hostOptions.szStorageFolder = arArgs[++i];
        } else if (szFile.empty() && !szArg.empty() && (szArg[0] != '-' || szArg == "-")) {
            szFile = szArg;
        } else {
            return Usage("unexpected argument '" + szArg + "'");
        }
    }
    if (bRaw && szFile.empty()) {
        return Usage("--raw describes a file, and none is given");
    }
    LBlockStopSignals();

    // The file first: a file that cannot be read fails before the driver loads.
    audio::LAudioFileReader reader;
    if (!szFile.empty() && !reader.Open(szFile, bRaw ? &raw : nullptr, &szError)) {
        return Fail(szError);
    }
    auto pPlayer = LPlayer::Load(hostOptions, &szError);
    if (!pPlayer) {
        return Fail(szError);
    }
    if (!pPlayer->Host().PublicationProblem().empty()) {
        Warn(pPlayer->Host().PublicationProblem() + "; recorders cannot learn the device's rate");
    }
    if (fRate > 0 && !pPlayer->SetSampleRate(fRate, &szError)) {
        return Fail(szError);
    }
    const double fDeviceRate = pPlayer->SampleRate();
    std::vector<float> arFrames;
    if (!szFile.empty()) {
        if (!audio::LLoadForDevice(reader, fDeviceRate, eQuality, &arFrames, &szError)) {
            return Fail(szError);
        }
        if (reader.SampleRate() != fDeviceRate || reader.Channels() != 2) {
            std::fprintf(stderr, "harlune play: %s, played as 2 ch at %.0f Hz\n", reader.Description().c_str(),
                         fDeviceRate);
        }
    }
    if (fVolume >= 0 && !pPlayer->SetVolume(static_cast<float>(fVolume), &szError)) {
        return Fail(szError);
    }

    // No lost first cycle: when a recorder is known, IO starts only once
    // the plug-in's link to it is up.
    std::string szProblem;
    if (!host::LCheckServiceFolder(&szProblem)) {
        Warn(szProblem + "; playing anyway, but nothing can record it");
    } else {
        const LHelperProbe probe = LProbeHelper(kHelperAnswer);
        if (probe.eState == LHelperState::NotRunning) {
            Warn(LNoHelperText() + "; playing anyway, but nothing records it");
        } else if (probe.eState == LHelperState::NoRecorder && fWait <= 0) {
            Warn("no recorder is registered with the helper service (pid " + std::to_string(probe.nPid) +
                 "); playing anyway (start one with `harlune record FILE`)");
        } else if (probe.eState == LHelperState::RecorderRegistered) {
            fWait = std::max(fWait, static_cast<double>(kRecorderWait.count()));
        }
    }
    if (fWait > 0 && !pPlayer->WaitForRecorder(std::chrono::milliseconds(static_cast<long>(fWait * 1000)))) {
        Warn("the plug-in did not reach a recorder within " + std::to_string(static_cast<long>(fWait)) +
             " s; playing anyway");
    }

    LPlayOptions options;
    options.bPaced = !bFast;
    if (szFile.empty()) {
        options.nFrames = static_cast<std::uint64_t>(std::llround(fSeconds * fDeviceRate));
        options.source = [fDeviceRate](float* pf, std::uint64_t nFirst, std::uint32_t nCount) {
            LFillTestSignal(pf, nFirst, nCount, fDeviceRate);
        };
    } else {
        options.nFrames = arFrames.size() / 2;
        options.source = [&arFrames](float* pf, std::uint64_t nFirst, std::uint32_t nCount) {
            std::memcpy(pf, arFrames.data() + nFirst * 2, static_cast<std::size_t>(nCount) * 8);
        };
    }
    const bool bLive = !bQuiet && isatty(STDERR_FILENO);
    options.progress = [&](std::uint64_t nPlayed) {
        if (bLive) {
            char sz[96];
            std::snprintf(sz, sizeof sz, "playing %6.1f / %.1f s", static_cast<double>(nPlayed) / fDeviceRate,
                          static_cast<double>(options.nFrames) / fDeviceRate);
            LShowLiveLine(sz);
        }
    };
    options.stop = [] { return LWaitForStopSignal(std::chrono::milliseconds(0)); };
    const LPlayReport report = pPlayer->Play(options);
    // The plug-in's sends are queued, never waited for; give the last
    // buffers time to leave before the process (the audio server here)
    // goes away and takes its queues with it.
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
    if (bLive) {
        LEndLiveLine();
    }
    std::printf("played %llu frames in %llu cycles at %.0f Hz (%s); late cycles %llu; longest cycle %.1f us\n",
                static_cast<unsigned long long>(report.nFramesPlayed), static_cast<unsigned long long>(report.nCycles),
                fDeviceRate, bFast ? "unpaced" : "real time", static_cast<unsigned long long>(report.nLateCycles),
                static_cast<double>(report.qwLongestCycleNs) / 1000.0);
    if (report.nFailedCalls != 0) {
        return 1;
    }
    if (!report.bRecorderConnected) {
        Warn("no recorder received the audio");
        return kExitNotRecorded;
    }
    return 0;
}

} // namespace harlune::tools
