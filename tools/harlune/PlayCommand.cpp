// harlune play [FILE.wav]: plays a file or a test signal into the device.
#include "tools/harlune/Commands.h"

#include "tools/harlune/BundleLocation.h"
#include "tools/harlune/CommandSupport.h"
#include "tools/harlune/Player.h"
#include "tools/harlune/TestSignal.h"
#include "tools/wav/LWavReader.h"

#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <thread>

namespace harlune::tools {
namespace {

const char kUsage[] =
    "usage: harlune play [FILE.wav] [--rate HZ] [--seconds S] [--fast] [--volume V]\n"
    "                    [--wait-for-recorder SECONDS] [--bundle PATH] [--storage DIR]\n"
    "\n"
    "Loads the driver as the audio server does and plays FILE.wav (16, 24 or 32-bit\n"
    "integer or float, mono or stereo) into \"Harlune Virtual Device\", in real time\n"
    "through the device's IO cycle. Without a file it plays a test tone (440 Hz left,\n"
    "660 Hz right) for --seconds (default 5).\n"
    "\n"
    "  --rate HZ       set the device to HZ (44100 or 48000) first; a file at another\n"
    "                  rate than the device's is refused unless --rate matches it\n"
    "  --fast          run the IO cycle unpaced, as fast as the driver takes it\n"
    "  --volume V      set the device's output volume scalar (0.0 to 1.0) first\n"
    "  --wait-for-recorder S  wait up to S seconds for a recording application\n"
    "  --bundle PATH   the driver bundle (default: beside this program)\n"
    "  --storage DIR   the plug-in storage folder\n";

} // namespace

int LRunPlayCommand(const std::vector<std::string>& arArgs) {
    std::string szFile;
    double fRate = 0, fSeconds = 5, fVolume = -1, fWait = 0;
    bool bFast = false;
    host::LHostOptions hostOptions;
    hostOptions.szBundlePath = LDefaultBundlePath();
    for (std::size_t i = 0; i < arArgs.size(); ++i) {
        const std::string& szArg = arArgs[i];
        const bool bNext = i + 1 < arArgs.size();
        auto number = [&](double* pf) { return bNext && LParseNumber(arArgs[i + 1], pf) && (++i, true); };
        if (szArg == "--help" || szArg == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        } else if (szArg == "--rate" && number(&fRate)) {
        } else if (szArg == "--seconds" && number(&fSeconds) && fSeconds > 0) {
        } else if (szArg == "--volume" && number(&fVolume) && fVolume >= 0 && fVolume <= 1) {
        } else if (szArg == "--wait-for-recorder" && number(&fWait) && fWait >= 0) {
        } else if (szArg == "--fast") {
            bFast = true;
        } else if (szArg == "--bundle" && bNext) {
            hostOptions.szBundlePath = arArgs[++i];
        } else if (szArg == "--storage" && bNext) {
            hostOptions.szStorageFolder = arArgs[++i];
        } else if (szFile.empty() && !szArg.empty() && szArg[0] != '-') {
            szFile = szArg;
        } else {
            std::fprintf(stderr, "harlune play: unexpected or invalid argument '%s'\n\n%s", szArg.c_str(), kUsage);
            return 2;
        }
    }
    LBlockStopSignals();

    wav::LWavAudio audio;
    std::string szError;
    if (!szFile.empty() && !wav::LReadWavFile(szFile, &audio, &szError)) {
        std::fprintf(stderr, "harlune play: %s\n", szError.c_str());
        return 1;
    }
    auto pPlayer = LPlayer::Load(hostOptions, &szError);
    if (!pPlayer) {
        std::fprintf(stderr, "harlune play: %s\n", szError.c_str());
        return 1;
    }
    if (fRate > 0 && !pPlayer->SetSampleRate(fRate, &szError)) {
        std::fprintf(stderr, "harlune play: %s\n", szError.c_str());
        return 1;
    }
    const double fDeviceRate = pPlayer->SampleRate();
    if (!szFile.empty() && audio.description.nSampleRate != static_cast<std::uint32_t>(fDeviceRate)) {
        std::fprintf(stderr,
                     "harlune play: '%s' is at %u Hz but the device runs at %.0f Hz; pass --rate %u to switch the "
                     "device (it runs at 44100 or 48000)\n",
                     szFile.c_str(), audio.description.nSampleRate, fDeviceRate, audio.description.nSampleRate);
        return 1;
    }
    if (fVolume >= 0 && !pPlayer->SetVolume(static_cast<float>(fVolume), &szError)) {
        std::fprintf(stderr, "harlune play: %s\n", szError.c_str());
        return 1;
    }
    if (fWait > 0 && !pPlayer->WaitForRecorder(std::chrono::milliseconds(static_cast<long>(fWait * 1000)))) {
        std::fprintf(stderr, "harlune play: no recording application connected; playing anyway\n");
    }

    LPlayOptions options;
    options.bPaced = !bFast;
    if (szFile.empty()) {
        options.nFrames = static_cast<std::uint64_t>(std::llround(fSeconds * fDeviceRate));
        options.source = [fDeviceRate](float* pf, std::uint64_t nFirst, std::uint32_t nCount) {
            LFillTestSignal(pf, nFirst, nCount, fDeviceRate);
        };
    } else {
        options.nFrames = audio.arFrames.size() / 2;
        options.source = [&audio](float* pf, std::uint64_t nFirst, std::uint32_t nCount) {
            std::memcpy(pf, audio.arFrames.data() + nFirst * 2, static_cast<std::size_t>(nCount) * 8);
        };
    }
    const bool bLive = isatty(STDOUT_FILENO);
    options.progress = [&](std::uint64_t nPlayed) {
        if (bLive) {
            std::printf("\rplaying %6.1f / %.1f s ", static_cast<double>(nPlayed) / fDeviceRate,
                        static_cast<double>(options.nFrames) / fDeviceRate);
            std::fflush(stdout);
        }
    };
    options.stop = [] { return LWaitForStopSignal(std::chrono::milliseconds(0)); };
    const LPlayReport report = pPlayer->Play(options);
    // The plug-in's sends are queued, never waited for; give the last
    // buffers time to leave before the process (the audio server here)
    // goes away and takes its queues with it.
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
    if (bLive) {
        std::printf("\n");
    }
    std::printf("played %llu frames in %llu cycles at %.0f Hz (%s); late cycles %llu; longest cycle %.1f us\n",
                static_cast<unsigned long long>(report.nFramesPlayed), static_cast<unsigned long long>(report.nCycles),
                fDeviceRate, bFast ? "unpaced" : "real time", static_cast<unsigned long long>(report.nLateCycles),
                static_cast<double>(report.qwLongestCycleNs) / 1000.0);
    return report.nFailedCalls == 0 ? 0 : 1;
}

} // namespace harlune::tools
