#include "tools/harlune/Player.h"

#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

namespace harlune::tools {

std::unique_ptr<LPlayer> LPlayer::Load(const host::LHostOptions& options, std::string* pszError) {
    auto pHost = host::LHost::Load(options, pszError);
    if (!pHost) {
        return nullptr;
    }
    std::unique_ptr<LPlayer> pPlayer(new LPlayer());
    pPlayer->m_pHost = std::move(pHost);
    CFBundleRef bundle = CFBundleGetBundleWithIdentifier(CFSTR("com.zentalworks.driver.HarluneVirtualAudioDevice"));
    if (bundle != nullptr) {
        pPlayer->m_pfnIsConnected =
            reinterpret_cast<bool (*)()>(CFBundleGetFunctionPointerForName(bundle, CFSTR("LVADServerIsConnectionValid")));
    }
    return pPlayer;
}

double LPlayer::SampleRate() {
    const AudioObjectPropertyAddress address = {kAudioDevicePropertyNominalSampleRate,
                                                kAudioObjectPropertyScopeGlobal, 0};
    Float64 fRate = 0;
    UInt32 dwSize = 0;
    m_pHost->Entries()->GetPropertyData(m_pHost->Driver(), 3, 0, &address, 0, nullptr, sizeof fRate, &dwSize, &fRate);
    return fRate;
}

bool LPlayer::SetSampleRate(double fRate, std::string* pszError) {
    if (SampleRate() == fRate) {
        return true;
    }
    const std::size_t nBefore = m_pHost->ConfigurationChanges().size();
    const AudioObjectPropertyAddress address = {kAudioDevicePropertyNominalSampleRate,
                                                kAudioObjectPropertyScopeGlobal, 0};
    const Float64 f = fRate;
    const OSStatus status =
        m_pHost->Entries()->SetPropertyData(m_pHost->Driver(), 3, 0, &address, 0, nullptr, sizeof f, &f);
    if (status != 0) {
        *pszError = "the device does not run at " + std::to_string(static_cast<long>(fRate)) +
                    " Hz (it runs at 44100 or 48000)";
        return false;
    }
    if (!m_pHost->WaitForConfigurationChanges(nBefore + 1, std::chrono::seconds(5)) || SampleRate() != fRate) {
        *pszError = "the host did not perform the sample-rate change";
        return false;
    }
    return true;
}

bool LPlayer::SetVolume(float fVolume, std::string* pszError) {
    const AudioObjectPropertyAddress address = {kAudioLevelControlPropertyScalarValue,
                                                kAudioObjectPropertyScopeGlobal, 0};
    const OSStatus status =
        m_pHost->Entries()->SetPropertyData(m_pHost->Driver(), 9, 0, &address, 0, nullptr, sizeof fVolume, &fVolume);
    if (status != 0) {
        *pszError = "the device refused the volume";
        return false;
    }
    return true;
}

bool LPlayer::WaitForRecorder(std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (m_pfnIsConnected != nullptr && !m_pfnIsConnected()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return m_pfnIsConnected != nullptr;
}

bool LPlayer::IsRecorderConnected() { return m_pfnIsConnected != nullptr && m_pfnIsConnected(); }

LPlayReport LPlayer::Play(const LPlayOptions& options) {
    LPlayReport report;
    if (options.nFrames == 0 || options.nFramesPerCycle == 0) {
        return report;
    }
    const std::uint64_t nCycles = (options.nFrames + options.nFramesPerCycle - 1) / options.nFramesPerCycle;
    std::atomic<std::uint64_t> nPlayed{0};
    host::LHostIOOptions io;
    io.dwFramesPerCycle = options.nFramesPerCycle;
    io.bPaced = options.bPaced;
    io.nMaxCycles = nCycles;
    io.nTotalFrames = options.nFrames;
    io.fill = [&](Float32* pfFrames, UInt32 dwFrames, UInt64 qwCycle) {
        // dwFrames is the cycle's size, smaller only for the last cycle.
        const std::uint64_t nFirst = qwCycle * options.nFramesPerCycle;
        const std::uint32_t nCount =
            nFirst >= options.nFrames ? 0 : static_cast<std::uint32_t>(std::min<std::uint64_t>(dwFrames, options.nFrames - nFirst));
        if (nCount > 0 && options.source) {
            options.source(pfFrames, nFirst, nCount);
        } else {
            std::fill(pfFrames, pfFrames + static_cast<std::size_t>(dwFrames) * 2, 0.0f);
        }
        nPlayed.store(nFirst + nCount, std::memory_order_relaxed);
    };
    report.bRecorderConnected = IsRecorderConnected();
    if (m_pHost->StartIO(io) != 0) {
        report.nFailedCalls = 1;
        return report;
    }
    while (!m_pHost->IO().WaitUntilDone(std::chrono::milliseconds(100))) {
        if (options.progress) {
            options.progress(nPlayed.load(std::memory_order_relaxed));
        }
        report.bRecorderConnected = report.bRecorderConnected || IsRecorderConnected();
        if (options.stop && options.stop()) {
            break;
        }
    }
    m_pHost->StopIO();
    const host::LHostIOStats stats = m_pHost->IO().Stats();
    report.nCycles = stats.nCycles;
    report.nFramesPlayed = nPlayed.load();
    report.nLateCycles = stats.nLateCycles;
    report.qwLongestCycleNs = stats.qwLongestCycleNs;
    report.nFailedCalls = stats.nFailedCalls;
    if (options.progress) {
        options.progress(report.nFramesPlayed);
    }
    return report;
}

} // namespace harlune::tools
