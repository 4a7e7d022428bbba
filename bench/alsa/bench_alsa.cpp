// bench_alsa: what playing through "Harlune Virtual Device" costs an
// application, and whether every frame arrives.
//
// Plays the same float stereo file with `aplay -D harlune` and with
// `aplay -D null` (ALSA's own null device) several times each, in the same
// run, and measures the CPU time (user + system) of each aplay process per
// second of audio. The helper service and a recorder run as they would for
// a user; their CPU is not counted (it is the recording's, not the
// application's). Afterwards the recording is searched for every frame of
// every play, in order: frames not found are lost.
//
// Prints the per-run figures, their medians and 99th percentiles (with five
// runs, the largest), and the two lines:
//   alsa_cpu_vs_null_ratio: X   (median harlune / median null; goal <= 3)
//   alsa_frames_lost: N         (goal 0)
#include "tools/audio/LAudioFileReader.h"
#include "tools/audio/LAudioFileWriter.h"
#include "tools/harlune/ChildProcess.h"
#include "tools/harlune/TestSignal.h"

#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

namespace {

using harlune::tools::LChildProcess;

constexpr int kRuns = 5;
constexpr std::uint32_t kRate = 44100;
constexpr std::uint32_t kSeconds = 4;
constexpr std::uint32_t kFrames = kRate * kSeconds;

bool WriteFloatWav(const std::string& szPath, const std::vector<float>& arFrames) {
    harlune::audio::LAudioFileWriter writer;
    std::string szError;
    return writer.Open(szPath, harlune::audio::LRecordFormat::WavFloat, kRate, 2, &szError) &&
           writer.Write(arFrames.data(), arFrames.size() / 2, &szError) && writer.Close(&szError);
}

// Runs aplay on szDevice; the CPU seconds it used, or a negative number
// when it failed.
double AplayCpuSeconds(const std::string& szDevice, const std::string& szFile) {
    const char* arArgv[] = {"aplay", "-q", "-D", szDevice.c_str(), szFile.c_str(), nullptr};
    pid_t pid = 0;
    if (posix_spawnp(&pid, "aplay", nullptr, nullptr, const_cast<char**>(arArgv), environ) != 0) {
        return -1;
    }
    int nStatus = 0;
    rusage usage = {};
    if (wait4(pid, &nStatus, 0, &usage) != pid || !WIFEXITED(nStatus) || WEXITSTATUS(nStatus) != 0) {
        return -1;
    }
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

double Median(std::vector<double> ar) {
    std::sort(ar.begin(), ar.end());
    return ar.size() % 2 == 1 ? ar[ar.size() / 2] : (ar[ar.size() / 2 - 1] + ar[ar.size() / 2]) / 2.0;
}

double Percentile99(std::vector<double> ar) {
    std::sort(ar.begin(), ar.end());
    const std::size_t n = static_cast<std::size_t>(0.99 * static_cast<double>(ar.size() - 1) + 0.999);
    return ar[std::min(n, ar.size() - 1)];
}

// Frames of nCopies plays of signal not found, in order, in recorded.
std::uint64_t FramesLost(const std::vector<float>& recorded, const std::vector<float>& signal, int nCopies) {
    const std::size_t nSignal = signal.size() / 2;
    std::size_t nFound = 0, j = 0;
    const std::size_t nRecorded = recorded.size() / 2;
    for (int nCopy = 0; nCopy < nCopies; ++nCopy) {
        for (std::size_t i = 0; i < nSignal; ++i) {
            // The test signal never repeats a frame, and silence never
            // matches it: a greedy search in order is exact.
            while (j < nRecorded && std::memcmp(&recorded[2 * j], &signal[2 * i], 8) != 0) {
                ++j;
            }
            if (j == nRecorded) {
                return static_cast<std::uint64_t>(nCopies) * nSignal - nFound;
            }
            ++nFound;
            ++j;
        }
    }
    return static_cast<std::uint64_t>(nCopies) * nSignal - nFound;
}

} // namespace

int main() {
    char szTemplate[] = "/tmp/harlune-bench-alsa.XXXXXX";
    if (mkdtemp(szTemplate) == nullptr) {
        std::perror("mkdtemp");
        return 1;
    }
    const std::string szDir = szTemplate;
    const std::string szServices = szDir + "/services";
    mkdir(szServices.c_str(), 0700);
    setenv("HARLUNE_XPC_SERVICE_DIR", szServices.c_str(), 1);
    setenv("HOME", szDir.c_str(), 1);
    const std::string szModule = std::string(HARLUNE_BUILD_DIR) + "/alsa/";
    {
        std::ofstream rc(szDir + "/.asoundrc");
        rc << "pcm_type.harlune { lib \"" << szModule << "libasound_module_pcm_harlune.so\" }\n"
           << "pcm.harlune { type harlune link_wait_ms 5000 }\n";
    }
    std::vector<float> signal(static_cast<std::size_t>(kFrames) * 2);
    harlune::tools::LFillTestSignal(signal.data(), 0, kFrames, kRate);
    const std::string szFile = szDir + "/signal.wav";
    int nExit = 0;
    {
        LChildProcess helper, recorder;
        const std::string szHarlune = std::string(HARLUNE_BUILD_DIR) + "/bin/harlune";
        if (!WriteFloatWav(szFile, signal) || !helper.Start(szHarlune, {"helper"}) ||
            !helper.WaitForLine("ready", std::chrono::seconds(15)) ||
            !recorder.Start(szHarlune, {"record", szDir + "/out.wav", "--quiet"}) ||
            !recorder.WaitForLine("registered", std::chrono::seconds(15))) {
            std::fprintf(stderr, "bench_alsa: cannot set up the helper and the recorder\n");
            std::filesystem::remove_all(szDir);
            return 1;
        }
        std::vector<double> arHarlune, arNull;
        for (int nRun = 0; nRun < kRuns; ++nRun) {
            const double fNull = AplayCpuSeconds("null", szFile);
            const double fHarlune = AplayCpuSeconds("harlune", szFile);
            if (fNull < 0 || fHarlune < 0) {
                std::fprintf(stderr, "bench_alsa: aplay failed (is alsa-utils installed?)\n");
                nExit = 1;
                break;
            }
            arNull.push_back(fNull * 1000.0 / kSeconds);
            arHarlune.push_back(fHarlune * 1000.0 / kSeconds);
            std::printf("run %d: aplay -D harlune %.2f ms CPU per second of audio, -D null %.2f ms\n", nRun + 1,
                        arHarlune.back(), arNull.back());
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        recorder.Signal(SIGINT);
        recorder.Wait(std::chrono::seconds(15));
        if (nExit == 0) {
            harlune::audio::LAudioFileReader reader;
            std::string szError;
            std::vector<float> recorded;
            if (reader.Open(szDir + "/out.wav", nullptr, &szError)) {
                std::vector<float> arChunk(8192 * 2);
                for (std::int64_t n; (n = reader.Read(arChunk.data(), 8192, &szError)) > 0;) {
                    recorded.insert(recorded.end(), arChunk.begin(), arChunk.begin() + n * 2);
                }
            }
            const double fHarlune = Median(arHarlune), fNull = Median(arNull);
            std::printf("aplay -D harlune: median %.2f ms, p99 %.2f ms CPU per second of audio (%d runs of %u s)\n",
                        fHarlune, Percentile99(arHarlune), kRuns, kSeconds);
            std::printf("aplay -D null:    median %.2f ms, p99 %.2f ms CPU per second of audio\n", fNull,
                        Percentile99(arNull));
            std::printf("alsa_cpu_vs_null_ratio: %.2f\n", fNull > 0 ? fHarlune / fNull : 0.0);
            std::printf("alsa_frames_lost: %llu\n",
                        static_cast<unsigned long long>(FramesLost(recorded, signal, kRuns)));
        }
    }
    std::filesystem::remove_all(szDir);
    return nExit;
}
