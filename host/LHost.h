// LHost.h: the audio server stand-in. Loads a driver bundle, initialises
// the driver with a host interface of its own, and drives it.
//
// The host interface it hands the driver:
//   - CopyFromStorage / WriteToStorage / DeleteFromStorage: the plug-in's
//     persistent storage (LHostStorage), one property-list file per plug-in;
//   - PropertiesChanged: every notice is recorded (LHostNotices) for callers
//     to read or wait on;
//   - RequestDeviceConfigurationChange: queued and performed later on the
//     host's configuration worker thread, which stops IO (if it runs), calls
//     PerformDeviceConfigurationChange and starts IO again, as the audio
//     server does.
// Other processes learn the device's nominal rate and whether its IO runs
// from the host's publication (LDevicePublication.h), kept current across
// configuration changes and IO starts and stops.
// IO runs through LHostIO (see LHostIO.h).
//
// Lifetime: the driver keeps the host interface pointer for the rest of the
// process, and its queued tasks may call it after this LHost is gone. The
// interface record is therefore never freed; once the LHost is destroyed,
// late calls find no host and return kAudioHardwareNotRunningError. The
// bundle's executable is never unloaded.
// Thread safety: all members may be called from any thread.
#ifndef HARLUNE_HOST_LHOST_H
#define HARLUNE_HOST_LHOST_H

#include "host/LDevicePublication.h"
#include "host/LHostIO.h"
#include "host/LHostNotices.h"
#include "host/LHostStorage.h"

#include <CoreAudio/AudioServerPlugIn.h>

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace harlune::host {

struct LHostOptions {
    std::string szBundlePath;    // the NAME.driver folder
    std::string szStorageFolder; // empty: LHostStorage::DefaultFolder()
};

// One configuration change the host performed.
struct LHostConfigurationChange {
    AudioObjectID dwDeviceID; // the device the driver named
    UInt64 qwChangeAction;    // the driver's change action (here: the new sample rate)
    OSStatus status;          // what PerformDeviceConfigurationChange returned
};

struct LHostInterfaceRecord;

class LHost {
public:
    // Loads and initialises the driver; null with *pszError set on failure
    // (the message names the bundle path and the reason).
    static std::unique_ptr<LHost> Load(const LHostOptions& options, std::string* pszError);
    ~LHost();
    LHost(const LHost&) = delete;
    LHost& operator=(const LHost&) = delete;

    // The driver reference and its entries, for calls the caller makes itself.
    AudioServerPlugInDriverRef Driver() const { return m_driver; }
    AudioServerPlugInDriverInterface* Entries() const { return *m_driver; }
    const std::string& BundleIdentifier() const { return m_szIdentifier; }
    // The host interface the driver was initialised with (valid for the
    // rest of the process).
    AudioServerPlugInHostRef HostInterface() const;
    OSStatus InitializeStatus() const { return m_initializeStatus; }
    // The device's nominal sample rate as the driver answers it (0 when it
    // does not).
    Float64 NominalSampleRate();
    // Why the device could not be published to other processes; empty when
    // it is published. The host works without it.
    const std::string& PublicationProblem() const { return m_szPublicationProblem; }

    LHostNotices& Notices() { return m_notices; }
    LHostStorage& Storage() { return *m_pStorage; }

    // Starts and stops the device's IO (device 3), serialised with
    // configuration changes.
    OSStatus StartIO(const LHostIOOptions& options);
    void StopIO();
    LHostIO& IO() { return *m_pIO; }

    // While held, requested configuration changes wait in the queue (as
    // they may at the audio server's discretion); releasing performs them.
    void HoldConfigurationChanges(bool bHold);
    // Requested changes not yet performed.
    std::size_t PendingConfigurationChanges();
    // Configuration changes performed so far, in order.
    std::vector<LHostConfigurationChange> ConfigurationChanges();
    // Waits until at least nCount changes have been performed.
    bool WaitForConfigurationChanges(std::size_t nCount, std::chrono::milliseconds timeout);

private:
    friend struct LHostInterfaceRecord;
    LHost() = default;

    void QueueConfigurationChange(AudioObjectID dwDeviceID, UInt64 qwChangeAction, void* pChangeInfo);
    void RunConfigurationWorker();

    AudioServerPlugInDriverRef m_driver = nullptr;
    std::string m_szIdentifier;
    OSStatus m_initializeStatus = 0;
    LDevicePublisher m_publisher;
    std::string m_szPublicationProblem;
    LHostInterfaceRecord* m_pRecord = nullptr; // never freed, see the header comment
    LHostNotices m_notices;
    std::unique_ptr<LHostStorage> m_pStorage;
    std::unique_ptr<LHostIO> m_pIO;
    std::mutex m_mtxIO; // serialises IO start/stop with configuration changes

    struct PendingChange {
        AudioObjectID dwDeviceID;
        UInt64 qwChangeAction;
        void* pChangeInfo;
    };
    std::mutex m_mtxChanges;
    std::condition_variable m_cvChanges;
    std::deque<PendingChange> m_pending;              // requested, not yet performed
    std::vector<LHostConfigurationChange> m_arDone;   // performed, in order
    bool m_bStopWorker = false;
    bool m_bHoldChanges = false;
    std::thread m_worker;
};

} // namespace harlune::host

#endif
