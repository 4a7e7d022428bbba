// Player.h: plays audio into the device through the host, as an
// application playing into "Harlune Virtual Device" would: the host runs
// the device's IO cycle and hands each cycle's frames to the driver.
//
// Not thread-safe: one caller drives a player.
#ifndef HARLUNE_TOOLS_PLAYER_H
#define HARLUNE_TOOLS_PLAYER_H

#include "host/LHost.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace harlune::tools {

struct LPlayOptions {
    std::uint64_t nFrames = 0;         // frames to play
    std::uint32_t nFramesPerCycle = 512;
    bool bPaced = true;                // real time, or as fast as the driver takes it
    // Fills frames [nFirst, nFirst + nCount) as interleaved stereo floats.
    std::function<void(float* pfFrames, std::uint64_t nFirst, std::uint32_t nCount)> source;
    // Called on the caller's thread about ten times a second while playing.
    std::function<void(std::uint64_t nFramesPlayed)> progress;
    // Asked as often; true ends the play early.
    std::function<bool()> stop;
};

struct LPlayReport {
    std::uint64_t nCycles = 0;
    std::uint64_t nFramesPlayed = 0;
    std::uint64_t nLateCycles = 0;
    std::uint64_t qwLongestCycleNs = 0;
    std::uint64_t nFailedCalls = 0;
    bool bRecorderConnected = false;   // the plug-in had a recorder's connection while playing
};

class LPlayer {
public:
    // Loads the driver; null with *pszError set when it cannot be loaded.
    static std::unique_ptr<LPlayer> Load(const host::LHostOptions& options, std::string* pszError);

    // The device's nominal sample rate.
    double SampleRate();
    // Sets the device's nominal rate and waits until the host has performed
    // the change; false with *pszError set when the device refuses it.
    bool SetSampleRate(double fRate, std::string* pszError);
    // Sets the output volume scalar (0.0 to 1.0).
    bool SetVolume(float fVolume, std::string* pszError);
    // Waits until the plug-in has a connection to a recording application.
    bool WaitForRecorder(std::chrono::milliseconds timeout);
    // True while the plug-in has a connection to a recording application.
    bool IsRecorderConnected();
    // Plays options.nFrames frames and stops; the last cycle hands the
    // driver only the frames that are left, so nothing follows the end.
    LPlayReport Play(const LPlayOptions& options);

    host::LHost& Host() { return *m_pHost; }

private:
    std::unique_ptr<host::LHost> m_pHost;
    bool (*m_pfnIsConnected)() = nullptr; // the bundle's LVADServerIsConnectionValid
};

} // namespace harlune::tools

#endif
