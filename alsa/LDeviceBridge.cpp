#include "alsa/LDeviceBridge.h"

#include "alsa/LMixerMemory.h"

#include <CoreFoundation/CoreFoundation.h>

#include <sys/eventfd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace harlune::alsa {
namespace {

constexpr AudioObjectID kDevice = 3;
constexpr AudioObjectID kVolumeControl = 9;
constexpr AudioObjectID kMuteControl = 10;
constexpr auto kConfigurationWait = std::chrono::seconds(2);

// The process's bridge: made once, never destroyed (see the header).
std::mutex gmtxBridge;
LDeviceBridge* gpBridge = nullptr;

AudioObjectPropertyAddress Global(AudioObjectPropertySelector dwSelector) {
    return {dwSelector, kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain};
}

} // namespace

LDeviceBridge* LDeviceBridge::Acquire(const LBridgeOptions& options, std::string* pszError) {
    std::lock_guard<std::mutex> lock(gmtxBridge);
    if (gpBridge != nullptr) {
        return gpBridge;
    }
    host::LHostOptions hostOptions;
    hostOptions.szBundlePath = options.szBundlePath;
    hostOptions.szStorageFolder = options.szStorageFolder;
    std::unique_ptr<host::LHost> pHost = host::LHost::Load(hostOptions, pszError);
    if (!pHost) {
        return nullptr;
    }
    auto* pBridge = new LDeviceBridge();
    pBridge->m_pHost = std::move(pHost);
    CFBundleRef bundle = CFBundleGetBundleWithIdentifier(CFSTR("com.zentalworks.driver.HarluneVirtualAudioDevice"));
    if (bundle != nullptr) {
        pBridge->m_pfnIsLinked =
            reinterpret_cast<bool (*)()>(CFBundleGetFunctionPointerForName(bundle, CFSTR("LVADServerIsConnectionValid")));
    }
    pBridge->m_szMixerPath = LMixerStatePath(options.szStorageFolder);
    LMixerState mixer;
    if (LLoadMixerState(pBridge->m_szMixerPath, &mixer)) {
        pBridge->SetDriverVolume(mixer.fVolume);
        pBridge->SetDriverMute(mixer.bMute);
    }
    // The driver asked the helper service for the recorder's endpoint during
    // Initialize. Waiting a moment for the answer lets the first cycle reach
    // the recorder; with no helper or no recorder the PCM opens all the same
    // once the wait is over.
    pBridge->WaitForLink(options.linkWait);
    gpBridge = pBridge;
    // An application that exits with a PCM still running would leave the
    // IO thread cycling while the libraries below it are torn down; this
    // runs before their teardown (registered after their initialisation).
    std::atexit([] {
        if (gpBridge != nullptr) {
            gpBridge->StopIO();
        }
    });
    return gpBridge;
}

double LDeviceBridge::SampleRate() {
    const AudioObjectPropertyAddress address = Global(kAudioDevicePropertyNominalSampleRate);
    Float64 fRate = 0.0;
    UInt32 dwSize = 0;
    if (m_pHost->Entries()->GetPropertyData(m_pHost->Driver(), kDevice, 0, &address, 0, nullptr, sizeof fRate, &dwSize,
                                            &fRate) != kAudioHardwareNoError) {
        return 0.0;
    }
    return fRate;
}

int LDeviceBridge::SetSampleRate(double fRate) {
    if (fRate != 44100.0 && fRate != 48000.0) {
        return -EINVAL;
    }
    std::lock_guard<std::mutex> lock(m_mtx);
    if (SampleRate() == fRate) {
        return 0;
    }
    if (AttachedCount() != 0) {
        return -EBUSY;
    }
    const std::size_t nBefore = m_pHost->ConfigurationChanges().size();
    const AudioObjectPropertyAddress address = Global(kAudioDevicePropertyNominalSampleRate);
    const Float64 f = fRate;
    if (m_pHost->Entries()->SetPropertyData(m_pHost->Driver(), kDevice, 0, &address, 0, nullptr, sizeof f, &f) !=
        kAudioHardwareNoError) {
        return -EINVAL;
    }
    // The driver asks for the change; the host performs it on its worker.
    if (!m_pHost->WaitForConfigurationChanges(nBefore + 1, kConfigurationWait) || SampleRate() != fRate) {
        return -EIO;
    }
    return 0;
}

std::size_t LDeviceBridge::AttachedCount() const {
    std::size_t n = 0;
    for (const auto& slot : m_arSlots) {
        n += slot.load() != nullptr ? 1 : 0;
    }
    return n;
}

bool LDeviceBridge::IsAttached(const LBridgeStream* pStream) {
    std::lock_guard<std::mutex> lock(m_mtx);
    for (const auto& slot : m_arSlots) {
        if (slot.load() == pStream) {
            return true;
        }
    }
    return false;
}

int LDeviceBridge::Attach(LBridgeStream* pStream) {
    if (pStream == nullptr) {
        return -EINVAL;
    }
    std::lock_guard<std::mutex> lock(m_mtx);
    std::atomic<LBridgeStream*>* pFree = nullptr;
    for (auto& slot : m_arSlots) {
        LBridgeStream* p = slot.load();
        if (p == pStream) {
            return 0;
        }
        if (p == nullptr && pFree == nullptr) {
            pFree = &slot;
        }
    }
    if (pFree == nullptr) {
        return -EBUSY;
    }
    pFree->store(pStream);
    if (!m_bIORunning) {
        host::LHostIOOptions io;
        io.dwFramesPerCycle = kFramesPerCycle;
        io.bPaced = true;
        io.fill = [this](Float32* pfFrames, UInt32 dwFrames, UInt64) { Fill(pfFrames, dwFrames); };
        if (m_pHost->StartIO(io) != kAudioHardwareNoError) {
            pFree->store(nullptr);
            return -EIO;
        }
        m_bIORunning = true;
    }
    return 0;
}

void LDeviceBridge::Detach(LBridgeStream* pStream) {
    std::lock_guard<std::mutex> lock(m_mtx);
    bool bFound = false;
    for (auto& slot : m_arSlots) {
        if (slot.load() == pStream && pStream != nullptr) {
            slot.store(nullptr);
            bFound = true;
        }
    }
    if (!bFound) {
        return;
    }
    // The IO thread bumps the epoch to an odd value before it reads the
    // slots and to an even one after its last use of them (all sequentially
    // consistent). Seeing an even value, or a change from an odd one, means
    // no fill can still hold the stream. The wait is bounded by one fill,
    // never by the cycle's sleep.
    const std::uint64_t qwEpoch = m_qwEpoch.load();
    if ((qwEpoch & 1) != 0) {
        while (m_qwEpoch.load() == qwEpoch) {
            std::this_thread::yield();
        }
    }
    if (m_bIORunning && AttachedCount() == 0) {
        m_pHost->StopIO();
        m_bIORunning = false;
    }
}

void LDeviceBridge::Fill(Float32* pfFrames, UInt32 dwFrames) {
    m_qwEpoch.fetch_add(1);
    bool bAny = false;
    for (auto& slot : m_arSlots) {
        LBridgeStream* pStream = slot.load();
        if (pStream == nullptr || pStream->bPaused.load(std::memory_order_relaxed)) {
            continue;
        }
        // The first stream is copied (every bit of it, negative zeros
        // included); the others are added to it.
        const std::size_t nTaken = pStream->ring.Consume(pfFrames, dwFrames, bAny);
        if (!bAny) {
            std::memset(pfFrames + nTaken * 2, 0, (dwFrames - nTaken) * 2 * sizeof(Float32));
            bAny = true;
        }
        if (nTaken < dwFrames) {
            pStream->nSilentFrames.fetch_add(dwFrames - nTaken, std::memory_order_relaxed);
            pStream->bStarved.store(true, std::memory_order_release);
        }
        const std::size_t nRoom = pStream->ring.Capacity() - pStream->ring.Queued();
        if (pStream->fdWake >= 0 &&
            (nTaken < dwFrames || nRoom >= pStream->nWakeRoom.load(std::memory_order_relaxed))) {
            // Wakes the application's poll: there is room in its buffer, or
            // (starved) it has something to learn. The counter cannot
            // overflow in practice and a failed write only delays the wake.
            eventfd_write(pStream->fdWake, 1);
        }
    }
    if (!bAny) {
        std::memset(pfFrames, 0, static_cast<std::size_t>(dwFrames) * 2 * sizeof(Float32));
    }
    m_qwEpoch.fetch_add(1);
}

void LDeviceBridge::StopIO() {
    std::lock_guard<std::mutex> lock(m_mtx);
    for (auto& slot : m_arSlots) {
        slot.store(nullptr);
    }
    if (m_bIORunning) {
        m_pHost->StopIO();
        m_bIORunning = false;
    }
}

bool LDeviceBridge::Volume(float* pfScalar) {
    const AudioObjectPropertyAddress address = Global(kAudioLevelControlPropertyScalarValue);
    Float32 f = 0.0f;
    UInt32 dwSize = 0;
    if (pfScalar == nullptr ||
        m_pHost->Entries()->GetPropertyData(m_pHost->Driver(), kVolumeControl, 0, &address, 0, nullptr, sizeof f,
                                            &dwSize, &f) != kAudioHardwareNoError) {
        return false;
    }
    *pfScalar = f;
    return true;
}

bool LDeviceBridge::SetVolume(float fScalar) {
    if (!SetDriverVolume(fScalar)) {
        return false;
    }
    RememberMixer();
    return true;
}

bool LDeviceBridge::SetMute(bool bMute) {
    if (!SetDriverMute(bMute)) {
        return false;
    }
    RememberMixer();
    return true;
}

void LDeviceBridge::RememberMixer() {
    LMixerState state;
    if (Volume(&state.fVolume) && Mute(&state.bMute)) {
        // A failed write only loses the memory for the next process.
        LSaveMixerState(m_szMixerPath, state);
    }
}

bool LDeviceBridge::SetDriverVolume(float fScalar) {
    if (!(fScalar >= 0.0f && fScalar <= 1.0f)) {
        return false;
    }
    const AudioObjectPropertyAddress address = Global(kAudioLevelControlPropertyScalarValue);
    return m_pHost->Entries()->SetPropertyData(m_pHost->Driver(), kVolumeControl, 0, &address, 0, nullptr,
                                               sizeof fScalar, &fScalar) == kAudioHardwareNoError;
}

bool LDeviceBridge::Mute(bool* pbMute) {
    const AudioObjectPropertyAddress address = Global(kAudioBooleanControlPropertyValue);
    UInt32 dw = 0;
    UInt32 dwSize = 0;
    if (pbMute == nullptr ||
        m_pHost->Entries()->GetPropertyData(m_pHost->Driver(), kMuteControl, 0, &address, 0, nullptr, sizeof dw,
                                            &dwSize, &dw) != kAudioHardwareNoError) {
        return false;
    }
    *pbMute = dw != 0;
    return true;
}

bool LDeviceBridge::SetDriverMute(bool bMute) {
    const AudioObjectPropertyAddress address = Global(kAudioBooleanControlPropertyValue);
    const UInt32 dw = bMute ? 1 : 0;
    return m_pHost->Entries()->SetPropertyData(m_pHost->Driver(), kMuteControl, 0, &address, 0, nullptr, sizeof dw,
                                               &dw) == kAudioHardwareNoError;
}

bool LDeviceBridge::IsLinked() { return m_pfnIsLinked != nullptr && m_pfnIsLinked(); }

bool LDeviceBridge::WaitForLink(std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!IsLinked()) {
        if (m_pfnIsLinked == nullptr || std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

} // namespace harlune::alsa
