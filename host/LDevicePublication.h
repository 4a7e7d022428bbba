// LDevicePublication.h: how a host tells other processes what its device is
// doing, as the platform's audio server answers its clients' property
// queries. A recording application needs the device's current sample rate
// to label what it records: the audio buffers themselves carry no rate.
//
// The host publishes one small shared file per process in the service folder
// (LServiceFolder.h), "device-PID.state", and keeps it mapped while it runs.
// Readers find it by the process id of the peer that sends them audio
// (xpc_connection_get_pid) and map it read-only, so a look-up per buffer is
// two loads from memory, with no message and no system call.
//
// A rate change is also marked in the audio itself: before IO restarts at
// the new rate, the host hands the driver a write mix of zero frames, which
// reaches the recorder as an empty buffer on the same ordered connection as
// the audio. Buffers still on their way when the rate changed are thus
// told apart from the first ones at the new rate (see tools' DeviceRates).
//
// Layout (native byte order; version 1): 8 bytes magic "HRLNDEV1", then
// 64-bit atomics: the nominal sample rate's bits (IEEE double, Hz), the
// count of rate changes since publishing, 1 while IO runs (else 0), the
// rate before the last change, when that change was published
// (CLOCK_MONOTONIC, nanoseconds; 0 before any change), and 1 when IO ran at
// that previous rate (else no buffer of it can be on its way). Every
// field is written and read as a lock-free atomic, so a reader never sees a
// torn value. The file is made complete under a temporary name and renamed
// into place, so a reader never finds it half-made.
//
// Lifetime: the publisher removes its file when destroyed; a file left by a
// process that died is removed by the next publisher that starts (its pid no
// longer exists). Thread safety: every member of both classes may be called
// from any thread.
#ifndef HARLUNE_HOST_LDEVICEPUBLICATION_H
#define HARLUNE_HOST_LDEVICEPUBLICATION_H

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace harlune::host {

struct LPublishedDeviceState {
    char szMagic[8];                         // "HRLNDEV1"
    std::atomic<std::uint64_t> qwRateBits;   // nominal sample rate, the bits of a double, Hz
    std::atomic<std::uint64_t> qwRateChanges; // rate changes since the host published
    std::atomic<std::uint64_t> qwRunning;    // 1 while the device's IO runs
    std::atomic<std::uint64_t> qwPreviousRateBits; // the rate before the last change, bits of a double, Hz
    std::atomic<std::uint64_t> qwChangedAtNs; // CLOCK_MONOTONIC of the last change, ns; 0: none
    std::atomic<std::uint64_t> qwPreviousPlayed; // 1 when IO ran at the previous rate (buffers of it may be on their way)
};
static_assert(std::atomic<std::uint64_t>::is_always_lock_free, "the published state is shared across processes");

// The publication's path for process nPid.
std::string LDevicePublicationPath(pid_t nPid);
// The processes whose publications are in the service folder now, in
// ascending order (a process that died since may still be listed).
std::vector<pid_t> LListDevicePublications();

class LDevicePublisher {
public:
    LDevicePublisher() = default;
    ~LDevicePublisher(); // unpublishes
    LDevicePublisher(const LDevicePublisher&) = delete;
    LDevicePublisher& operator=(const LDevicePublisher&) = delete;

    // Publishes this process's device at fSampleRate; false with *pszError
    // set when the service folder is refused or the file cannot be made.
    bool Publish(double fSampleRate, std::string* pszError);
    // Records a new nominal rate (counted as a change when it differs).
    void SetSampleRate(double fSampleRate);
    void SetRunning(bool bRunning);
    // The rate last published; 0 when not published.
    double SampleRate() const;
    // Removes the file; later Set calls do nothing.
    void Unpublish();

private:
    LPublishedDeviceState* m_pState = nullptr; // mapped, shared
    std::atomic<bool> m_bPlayedAtRate{false};   // IO ran since the rate was last set
    std::string m_szPath;
};

// A read-only view of another process's publication.
class LPublishedDevice {
public:
    LPublishedDevice() = default;
    ~LPublishedDevice();
    LPublishedDevice(const LPublishedDevice&) = delete;
    LPublishedDevice& operator=(const LPublishedDevice&) = delete;

    // Maps the publication of process nPid; false when it has none (or the
    // file is not a publication of this version).
    bool Open(pid_t nPid);
    bool IsOpen() const { return m_pState != nullptr; }
    // The device's nominal rate in Hz; 0 when not open.
    double SampleRate() const;
    std::uint64_t RateChanges() const;
    bool IsRunning() const;
    // The rate before the last change (0 when there was none), and when the
    // change was published, on the steady clock (CLOCK_MONOTONIC).
    double PreviousSampleRate() const;
    // True when IO ran at the previous rate.
    bool PreviousRatePlayed() const;
    std::chrono::steady_clock::time_point ChangedAt() const;

private:
    const LPublishedDeviceState* m_pState = nullptr;
};

} // namespace harlune::host

#endif
