// LDeviceBridge.h: the application process's host of the driver bundle.
//
// An application that opens the "harlune" PCM or control loads the driver
// bundle into its own process, exactly as the audio server loads it, through
// host::LHost: the driver initialises, connects to the helper service and,
// through it, to the recording application. The bridge plays the audio
// server's mixing part for the PCMs of this process: while at least one
// stream is attached it runs the device's IO cycle on the host's IO thread,
// paced by the device's own clock (the zero time stamps), and in every
// cycle it takes one IO buffer's worth of frames from each attached
// stream's ring, sums them and hands the sum to the driver as the write mix.
// The application's writes never drive the cycle: a stream whose ring runs
// dry is topped up with silence and marked starved, and the cycle goes on.
//
// Lifetime: one bridge per process, made by the first Acquire and kept for
// the rest of the process (the driver is never unloaded, and its queued
// work may call the host at any time). The device's IO runs only while a
// stream is attached.
//
// Thread safety: every member may be called from any application thread;
// they serialise on the bridge's lock, which the IO thread never takes. The
// IO thread reads the attached streams through atomic slots and an epoch
// counter, so Detach returns only once the IO thread no longer touches the
// stream, and the IO thread never waits for an application.
#ifndef HARLUNE_ALSA_LDEVICEBRIDGE_H
#define HARLUNE_ALSA_LDEVICEBRIDGE_H

#include "alsa/LFrameRing.h"
#include "host/LHost.h"

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>

namespace harlune::alsa {

// The consumer side of one PCM as the IO cycle sees it. Owned by the PCM;
// attached to the bridge while the PCM runs.
struct LBridgeStream {
    LFrameRing ring;                          // the application's frames, converted to float
    std::atomic<bool> bPaused{false};         // paused streams give nothing and are not starved
    std::atomic<bool> bStarved{false};        // a cycle found fewer frames than it needed
    std::atomic<std::uint64_t> nSilentFrames{0}; // frames of silence put in for this stream
    int fdWake = -1;                          // eventfd, counted up after a cycle that left room to write
    // Frames of free space that wake the application (its avail_min): a
    // cycle that leaves less does not wake it, so a blocked writer wakes
    // about once per period, not once per cycle.
    std::atomic<std::size_t> nWakeRoom{1};
};

struct LBridgeOptions {
    std::string szBundlePath;    // the NAME.driver folder
    std::string szStorageFolder; // empty: the host's default storage folder
    // How long the first load waits for the driver's link to a recording
    // application before the PCM opens anyway (no helper or no recorder).
    std::chrono::milliseconds linkWait{500};
};

class LDeviceBridge {
public:
    // The device's frames per IO cycle.
    static constexpr UInt32 kFramesPerCycle = 512;
    // Streams one process can attach at once.
    static constexpr std::size_t kMaxStreams = 16;

    // The process's bridge, loading the bundle on the first call (or after a
    // load that failed). Null with *pszError naming the path and the reason
    // when the bundle cannot be loaded.
    static LDeviceBridge* Acquire(const LBridgeOptions& options, std::string* pszError);

    // The device's nominal sample rate, frames per second.
    double SampleRate();
    // Switches the device to fRate (44100 or 48000) the way the audio server
    // performs the driver's configuration change; 0, -EINVAL for a rate the
    // device does not run at, -EBUSY while another stream of this process
    // is attached at another rate, -EIO when the change is not performed.
    int SetSampleRate(double fRate);

    // Adds the stream to the IO cycle, starting the device's IO when it is
    // the first; 0, -EBUSY when every slot is taken, -EIO when IO does not
    // start.
    int Attach(LBridgeStream* pStream);
    // Takes the stream out of the IO cycle (stopping IO when it was the
    // last); on return the IO thread no longer touches it. Does nothing for
    // a stream that is not attached.
    void Detach(LBridgeStream* pStream);
    bool IsAttached(const LBridgeStream* pStream);
    // Detaches every stream and stops the device's IO (at process exit).
    void StopIO();

    // The output volume scalar (0.0 to 1.0) and mute of the device; the
    // setters go through the driver, which tells the recording application,
    // and remember the values for the next process (LMixerMemory.h).
    bool Volume(float* pfScalar);
    bool SetVolume(float fScalar);
    bool Mute(bool* pbMute);
    bool SetMute(bool bMute);

    // True while the driver holds a connection to a recording application.
    bool IsLinked();
    // Waits up to timeout for IsLinked.
    bool WaitForLink(std::chrono::milliseconds timeout);

private:
    LDeviceBridge() = default;
    void Fill(Float32* pfFrames, UInt32 dwFrames);
    std::size_t AttachedCount() const; // caller holds m_mtx
    bool SetDriverVolume(float fScalar);
    bool SetDriverMute(bool bMute);
    void RememberMixer();

    std::unique_ptr<host::LHost> m_pHost;
    bool (*m_pfnIsLinked)() = nullptr;    // the bundle's LVADServerIsConnectionValid
    std::string m_szMixerPath;            // where the control's values are remembered
    std::mutex m_mtx;                     // attach, detach, IO start and stop, rate changes
    std::array<std::atomic<LBridgeStream*>, kMaxStreams> m_arSlots{}; // read by the IO thread
    std::atomic<std::uint64_t> m_qwEpoch{0}; // odd while the IO thread is inside a cycle's fill
    bool m_bIORunning = false;            // under m_mtx
};

} // namespace harlune::alsa

#endif
