#include "host/LHost.h"

#include "host/LHostBundle.h"

namespace harlune::host {

// The host interface handed to the driver, with the way back to its LHost.
// The entries must come first: the driver is given their address.
struct LHostInterfaceRecord {
    AudioServerPlugInHostInterface entries;
    std::mutex mtx;          // held while a call uses pHost, and while it is cleared
    LHost* pHost = nullptr;  // null once the LHost is destroyed

    static LHostInterfaceRecord* From(AudioServerPlugInHostRef pHostRef) {
        return reinterpret_cast<LHostInterfaceRecord*>(const_cast<AudioServerPlugInHostInterface*>(pHostRef));
    }

    static OSStatus PropertiesChanged(AudioServerPlugInHostRef pHostRef, AudioObjectID dwObjectID,
                                      UInt32 nAddresses, const AudioObjectPropertyAddress* pAddresses) {
        LHostInterfaceRecord* pRecord = From(pHostRef);
        std::lock_guard<std::mutex> lock(pRecord->mtx);
        if (pRecord->pHost == nullptr) {
            return kAudioHardwareNotRunningError;
        }
        pRecord->pHost->m_notices.Record(dwObjectID, nAddresses, pAddresses);
        return kAudioHardwareNoError;
    }

    static OSStatus CopyFromStorage(AudioServerPlugInHostRef pHostRef, CFStringRef key, CFPropertyListRef* pOut) {
        LHostInterfaceRecord* pRecord = From(pHostRef);
        if (pOut == nullptr) {
            return kAudioHardwareIllegalOperationError;
        }
        std::lock_guard<std::mutex> lock(pRecord->mtx);
        if (pRecord->pHost == nullptr) {
            *pOut = nullptr;
            return kAudioHardwareNotRunningError;
        }
        *pOut = pRecord->pHost->m_pStorage->Copy(key);
        return kAudioHardwareNoError;
    }

    static OSStatus WriteToStorage(AudioServerPlugInHostRef pHostRef, CFStringRef key, CFPropertyListRef value) {
        LHostInterfaceRecord* pRecord = From(pHostRef);
        std::lock_guard<std::mutex> lock(pRecord->mtx);
        if (pRecord->pHost == nullptr) {
            return kAudioHardwareNotRunningError;
        }
        return pRecord->pHost->m_pStorage->Write(key, value) ? kAudioHardwareNoError
                                                              : kAudioHardwareUnspecifiedError;
    }

    static OSStatus DeleteFromStorage(AudioServerPlugInHostRef pHostRef, CFStringRef key) {
        LHostInterfaceRecord* pRecord = From(pHostRef);
        std::lock_guard<std::mutex> lock(pRecord->mtx);
        if (pRecord->pHost == nullptr) {
            return kAudioHardwareNotRunningError;
        }
        return pRecord->pHost->m_pStorage->Delete(key) ? kAudioHardwareNoError : kAudioHardwareUnspecifiedError;
    }

    static OSStatus RequestDeviceConfigurationChange(AudioServerPlugInHostRef pHostRef, AudioObjectID dwDeviceID,
                                                     UInt64 qwChangeAction, void* pChangeInfo) {
        LHostInterfaceRecord* pRecord = From(pHostRef);
        std::lock_guard<std::mutex> lock(pRecord->mtx);
        if (pRecord->pHost == nullptr) {
            return kAudioHardwareNotRunningError;
        }
        pRecord->pHost->QueueConfigurationChange(dwDeviceID, qwChangeAction, pChangeInfo);
        return kAudioHardwareNoError;
    }
};

namespace {

// Records outlive their hosts (see LHost.h); keeping them reachable from
// here says so to leak checkers, and documents that they are never freed.
std::mutex gmtxHostRecords;
std::vector<LHostInterfaceRecord*> garHostRecords;

LHostInterfaceRecord* NewRecord() {
    auto* pRecord = new LHostInterfaceRecord();
    pRecord->entries.PropertiesChanged = &LHostInterfaceRecord::PropertiesChanged;
    pRecord->entries.CopyFromStorage = &LHostInterfaceRecord::CopyFromStorage;
    pRecord->entries.WriteToStorage = &LHostInterfaceRecord::WriteToStorage;
    pRecord->entries.DeleteFromStorage = &LHostInterfaceRecord::DeleteFromStorage;
    pRecord->entries.RequestDeviceConfigurationChange = &LHostInterfaceRecord::RequestDeviceConfigurationChange;
    std::lock_guard<std::mutex> lock(gmtxHostRecords);
    garHostRecords.push_back(pRecord);
    return pRecord;
}

constexpr AudioObjectID kDeviceID = 3;

} // namespace

std::unique_ptr<LHost> LHost::Load(const LHostOptions& options, std::string* pszError) {
    LLoadedDriver loaded;
    if (!LLoadDriverBundle(options.szBundlePath, &loaded, pszError)) {
        return nullptr;
    }
    std::unique_ptr<LHost> pHost(new LHost());
    pHost->m_driver = loaded.driver;
    pHost->m_szIdentifier = loaded.szIdentifier;
    pHost->m_pStorage = std::make_unique<LHostStorage>(options.szStorageFolder, loaded.szIdentifier);
    pHost->m_pIO = std::make_unique<LHostIO>(loaded.driver, kDeviceID);
    pHost->m_worker = std::thread([p = pHost.get()] { p->RunConfigurationWorker(); });

    pHost->m_pRecord = NewRecord();
    {
        std::lock_guard<std::mutex> lock(pHost->m_pRecord->mtx);
        pHost->m_pRecord->pHost = pHost.get();
    }
    pHost->m_initializeStatus = (*loaded.driver)->Initialize(loaded.driver, &pHost->m_pRecord->entries);
    if (pHost->m_initializeStatus != kAudioHardwareNoError) {
        if (pszError != nullptr) {
            *pszError = "driver in '" + options.szBundlePath + "' refused Initialize with status " +
                        std::to_string(pHost->m_initializeStatus);
        }
        return nullptr;
    }
    if (!pHost->m_publisher.Publish(pHost->NominalSampleRate(), &pHost->m_szPublicationProblem) &&
        pHost->m_szPublicationProblem.empty()) {
        pHost->m_szPublicationProblem = "the device could not be published";
    }
    return pHost;
}

Float64 LHost::NominalSampleRate() {
    const AudioObjectPropertyAddress address = {kAudioDevicePropertyNominalSampleRate,
                                                kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain};
    Float64 fRate = 0.0;
    UInt32 dwSize = 0;
    if ((*m_driver)->GetPropertyData(m_driver, kDeviceID, 0, &address, 0, nullptr, sizeof fRate, &dwSize, &fRate) !=
            kAudioHardwareNoError ||
        dwSize != sizeof fRate) {
        return 0.0;
    }
    return fRate;
}

LHost::~LHost() {
    // First cut the driver's way back in, so nothing new arrives while the
    // worker and the IO thread wind down.
    if (m_pRecord != nullptr) {
        std::lock_guard<std::mutex> lock(m_pRecord->mtx);
        m_pRecord->pHost = nullptr;
    }
    {
        std::lock_guard<std::mutex> lock(m_mtxChanges);
        m_bStopWorker = true;
    }
    m_cvChanges.notify_all();
    if (m_worker.joinable()) {
        m_worker.join();
    }
    StopIO();
    m_publisher.Unpublish();
}

AudioServerPlugInHostRef LHost::HostInterface() const { return &m_pRecord->entries; }

OSStatus LHost::StartIO(const LHostIOOptions& options) {
    std::lock_guard<std::mutex> lock(m_mtxIO);
    const OSStatus status = m_pIO->Start(options);
    m_publisher.SetRunning(m_pIO->IsRunning());
    return status;
}

void LHost::StopIO() {
    std::lock_guard<std::mutex> lock(m_mtxIO);
    if (m_pIO) {
        m_pIO->Stop();
    }
    m_publisher.SetRunning(false);
}

void LHost::HoldConfigurationChanges(bool bHold) {
    {
        std::lock_guard<std::mutex> lock(m_mtxChanges);
        m_bHoldChanges = bHold;
    }
    m_cvChanges.notify_all();
}

std::size_t LHost::PendingConfigurationChanges() {
    std::lock_guard<std::mutex> lock(m_mtxChanges);
    return m_pending.size();
}

std::vector<LHostConfigurationChange> LHost::ConfigurationChanges() {
    std::lock_guard<std::mutex> lock(m_mtxChanges);
    return m_arDone;
}

bool LHost::WaitForConfigurationChanges(std::size_t nCount, std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(m_mtxChanges);
    return m_cvChanges.wait_for(lock, timeout, [&] { return m_arDone.size() >= nCount; });
}

void LHost::QueueConfigurationChange(AudioObjectID dwDeviceID, UInt64 qwChangeAction, void* pChangeInfo) {
    {
        std::lock_guard<std::mutex> lock(m_mtxChanges);
        m_pending.push_back({dwDeviceID, qwChangeAction, pChangeInfo});
    }
    m_cvChanges.notify_all();
}

void LHost::RunConfigurationWorker() {
    std::unique_lock<std::mutex> lock(m_mtxChanges);
    for (;;) {
        m_cvChanges.wait(lock, [this] { return m_bStopWorker || (!m_bHoldChanges && !m_pending.empty()); });
        if (m_bStopWorker) {
            return;
        }
        const PendingChange change = m_pending.front();
        m_pending.pop_front();
        lock.unlock();

        OSStatus status = kAudioHardwareNoError;
        {
            // As the audio server does: IO stops around the change and
            // restarts with the same settings afterwards.
            std::lock_guard<std::mutex> ioLock(m_mtxIO);
            const bool bWasRunning = m_pIO->IsRunning();
            const LHostIOOptions options = m_pIO->Options();
            if (bWasRunning) {
                m_pIO->Stop();
            }
            status = (*m_driver)->PerformDeviceConfigurationChange(m_driver, change.dwDeviceID, change.qwChangeAction,
                                                                   change.pChangeInfo);
            // Published before IO restarts, and marked in the audio stream
            // itself: every buffer before the empty one was played at the
            // old rate, every buffer after it at the new one.
            const Float64 fBefore = m_publisher.SampleRate();
            m_publisher.SetSampleRate(NominalSampleRate());
            if (m_publisher.SampleRate() != fBefore) {
                m_pIO->SendBoundary();
            }
            if (bWasRunning) {
                m_pIO->Start(options);
            }
        }

        lock.lock();
        m_arDone.push_back({change.dwDeviceID, change.qwChangeAction, status});
        m_cvChanges.notify_all();
    }
}

} // namespace harlune::host
