// The recorder's CPU time per second of audio, next to sox writing the same
// audio in the same format: float WAV and FLAC (24-bit).
//
// The recorder runs as a real process (`harlune record`) with the helper
// service; the host plays the test signal unpaced in bursts the send queue
// holds, and the recorder's CPU time (user + system, from /proc) is read
// once everything has arrived. sox converts a raw float file holding the
// same frames; its CPU time comes from wait4. Each figure is the median of
// three runs (CPU time is counted in ticks of 10 ms, so the default 300 s
// of audio keeps the figures within a few per cent). The recorder's figure includes receiving the audio over XPC,
// which sox, reading a file, does not pay.
//
// Usage: bench_record [SECONDS_OF_AUDIO]   (default 300)
#include "bench/LBenchServices.h"
#include "tools/harlune/ChildProcess.h"
#include "tools/harlune/Player.h"
#include "tools/harlune/ProcessStats.h"
#include "tools/harlune/TestSignal.h"

#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr double kRate = 44100.0;
constexpr std::uint32_t kCycleFrames = 512;
// Unpaced bursts stay well under the send queue's 8 MiB (2048 buffers).
constexpr std::uint64_t kBurstCycles = 1024;

struct Format {
    const char* szName;   // as printed
    const char* szFile;   // the recording's name (its extension picks the format)
    std::vector<std::string> arSoxOut; // sox's output options before the file
};

double Median(std::vector<double> ar) {
    std::sort(ar.begin(), ar.end());
    return ar.empty() ? 0.0 : ar[ar.size() / 2];
}

// Records nFrames of the test signal through a real recorder; its CPU
// seconds, or -1 on failure.
double RecorderCpu(harlune::bench::LBenchServices& services, harlune::tools::LPlayer& player,
                   const std::string& szPath, std::uint64_t nFrames) {
    harlune::tools::LChildProcess recorder;
    if (!recorder.Start(std::string(HARLUNE_BUILD_DIR) + "/bin/harlune", {"record", szPath, "--quiet"}) ||
        !recorder.WaitForLine("registered", std::chrono::seconds(10)) ||
        !player.WaitForRecorder(std::chrono::seconds(10))) {
        std::fprintf(stderr, "bench_record: the recorder did not come up\n");
        return -1;
    }
    const double fBefore = harlune::tools::LCpuSeconds(recorder.Pid());
    for (std::uint64_t nFirst = 0; nFirst < nFrames; nFirst += kBurstCycles * kCycleFrames) {
        harlune::tools::LPlayOptions options;
        options.nFrames = std::min<std::uint64_t>(kBurstCycles * kCycleFrames, nFrames - nFirst);
        options.bPaced = false;
        options.source = [nFirst](float* pf, std::uint64_t n, std::uint32_t nCount) {
            harlune::tools::LFillTestSignal(pf, nFirst + n, nCount, kRate);
        };
        player.Play(options);
        // Let the recorder drain the burst: until its CPU time stops growing.
        double fLast = -1;
        for (int i = 0; i < 200; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            const double f = harlune::tools::LCpuSeconds(recorder.Pid());
            if (f == fLast) {
                break;
            }
            fLast = f;
        }
    }
    const double fAfter = harlune::tools::LCpuSeconds(recorder.Pid());
    recorder.Signal(SIGINT);
    if (recorder.Wait(std::chrono::seconds(30)) != 0) {
        std::fprintf(stderr, "bench_record: the recorder failed:\n%s\n", recorder.Output().c_str());
        return -1;
    }
    const std::string szWant = "recorded " + std::to_string(nFrames) + " frames";
    if (recorder.Output().find(szWant) == std::string::npos) {
        std::fprintf(stderr, "bench_record: frames were lost:\n%s\n", recorder.Output().c_str());
        return -1;
    }
    return fAfter - fBefore;
}

// Runs sox with arArgs; its CPU seconds, or -1 when it fails.
double SoxCpu(const std::vector<std::string>& arArgs) {
    const pid_t pid = fork();
    if (pid == 0) {
        std::vector<char*> argv;
        argv.push_back(const_cast<char*>("sox"));
        for (const std::string& sz : arArgs) {
            argv.push_back(const_cast<char*>(sz.c_str()));
        }
        argv.push_back(nullptr);
        execvp("sox", argv.data());
        _exit(127);
    }
    int nStatus = 0;
    rusage usage {};
    if (pid < 0 || wait4(pid, &nStatus, 0, &usage) != pid || !WIFEXITED(nStatus) || WEXITSTATUS(nStatus) != 0) {
        std::fprintf(stderr, "bench_record: sox failed (is it installed?)\n");
        return -1;
    }
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

} // namespace

int main(int argc, char** argv) {
    const double fSeconds = argc > 1 ? std::atof(argv[1]) : 300.0;
    if (!(fSeconds >= 1 && fSeconds <= 3600)) {
        std::fprintf(stderr, "usage: bench_record [SECONDS_OF_AUDIO from 1 to 3600]\n");
        return 2;
    }
    const std::uint64_t nFrames = static_cast<std::uint64_t>(fSeconds * kRate) / kCycleFrames * kCycleFrames;
    harlune::bench::LBenchServices services("harlune-bench-record");
    if (!services.StartHelper()) {
        std::fprintf(stderr, "bench_record: the helper service did not start\n");
        return 1;
    }
    const std::string szFolder = services.StorageFolder() + "-files";
    std::filesystem::create_directories(szFolder);
    // sox's input: the same frames, raw.
    const std::string szRaw = szFolder + "/signal.f32";
    {
        std::FILE* pFile = std::fopen(szRaw.c_str(), "wb");
        std::vector<float> arChunk(2 * 65536);
        for (std::uint64_t n = 0; pFile != nullptr && n < nFrames; n += 65536) {
            const auto nCount = static_cast<std::uint32_t>(std::min<std::uint64_t>(65536, nFrames - n));
            harlune::tools::LFillTestSignal(arChunk.data(), n, nCount, kRate);
            std::fwrite(arChunk.data(), 8, nCount, pFile);
        }
        if (pFile == nullptr || std::fclose(pFile) != 0) {
            std::fprintf(stderr, "bench_record: cannot write %s\n", szRaw.c_str());
            return 1;
        }
    }
    std::string szError;
    auto pPlayer = harlune::tools::LPlayer::Load({HARLUNE_BUNDLE_PATH, services.StorageFolder()}, &szError);
    if (!pPlayer) {
        std::fprintf(stderr, "bench_record: %s\n", szError.c_str());
        return 1;
    }
    const Format arFormats[] = {
        {"wav_float", "take.wav", {"-e", "floating-point", "-b", "32"}},
        {"flac", "take.flac", {"-b", "24"}},
    };
    const std::vector<std::string> arSoxIn = {"-t", "raw", "-r", "44100", "-e", "floating-point",
                                              "-b", "32",  "-c", "2",     szRaw};
    double fWorstRatio = 0;
    std::printf("audio_seconds: %.1f\n", static_cast<double>(nFrames) / kRate);
    for (const Format& format : arFormats) {
        std::vector<double> arRecorder, arSox;
        for (int i = 0; i < 3; ++i) {
            arRecorder.push_back(RecorderCpu(services, *pPlayer, szFolder + "/" + format.szFile, nFrames));
            std::vector<std::string> arArgs = arSoxIn;
            arArgs.insert(arArgs.end(), format.arSoxOut.begin(), format.arSoxOut.end());
            arArgs.push_back(szFolder + "/sox-" + format.szFile);
            arSox.push_back(SoxCpu(arArgs));
            if (arRecorder.back() < 0 || arSox.back() < 0) {
                return 1;
            }
        }
        const double fAudio = static_cast<double>(nFrames) / kRate;
        const double fRecorder = Median(arRecorder) / fAudio * 1e3;
        const double fSox = Median(arSox) / fAudio * 1e3;
        const double fRatio = fSox > 0 ? fRecorder / fSox : 0;
        fWorstRatio = std::max(fWorstRatio, fRatio);
        std::printf("record_cpu_ms_per_audio_second_%s: %.2f\n", format.szName, fRecorder);
        std::printf("sox_cpu_ms_per_audio_second_%s: %.2f\n", format.szName, fSox);
        std::printf("record_cpu_vs_sox_ratio_%s: %.2f\n", format.szName, fRatio);
    }
    // The headline figure is the worse of the two formats.
    std::printf("record_cpu_vs_sox_ratio: %.2f\n", fWorstRatio);
    return 0;
}
