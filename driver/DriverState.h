// DriverState.h: the one process-wide record of the driver's mutable state.
//
// Every field has a static initial value; nothing here is allocated or freed.
// Thread safety: each field names its guard. StateMutex guards the object
// state and the counters; IOMutex guards the zero-time-stamp state. The two
// are never held together. Host is written once by Initialize, before any
// property or IO entry runs, and read without a lock afterwards.
#ifndef HARLUNE_DRIVER_DRIVERSTATE_H
#define HARLUNE_DRIVER_DRIVERSTATE_H

#include <CoreAudio/AudioServerPlugIn.h>
#include <pthread.h>

#include <atomic>

namespace harlune::driver {

struct LDriverState {
    // The driver reference handed to the audio server; every entry compares
    // its first argument with it. Constant.
    AudioServerPlugInDriverRef DriverRef;
    // Outstanding references from QueryInterface and AddRef. StateMutex.
    UInt32 RefCount;
    // The audio server's host interface. Set once by Initialize.
    AudioServerPlugInHostRef Host;
    // Whether the box is acquired, that is whether the device is published.
    // Written under StateMutex; the plug-in's own lists read it without the
    // lock, so it is atomic to make those racing reads well defined.
    std::atomic<bool> BoxAcquired;
    // The box's name, holding one retain. StateMutex.
    CFStringRef BoxName;
    // The device's nominal sample rate in frames per second. StateMutex.
    Float64 SampleRate;
    // Whether the output stream is active. StateMutex.
    bool StreamActive;
    // Output volume as a scalar from 0.0 to 1.0. StateMutex.
    Float32 OutputVolume;
    // Whether the output is muted. StateMutex.
    bool OutputMute;
    // Current items (0 to 3) of the data-source and data-destination selectors. StateMutex.
    UInt32 DataSourceItem;
    UInt32 DataDestinationItem;
    // StartIO calls not yet matched by StopIO. StateMutex.
    UInt64 IORunningCount;
    // Host clock ticks per sample frame at SampleRate. Written under
    // StateMutex (after Initialize), read under IOMutex; atomic because those
    // are different locks, so a rate change racing a time-stamp read is still
    // well defined (the reader sees the old or the new ratio).
    std::atomic<Float64> HostTicksPerFrame;
    // Whole zero-time-stamp periods elapsed since AnchorHostTime. IOMutex;
    // reset under StateMutex by the StartIO that starts IO from zero clients.
    UInt64 TimeStampCount;
    // Host time (mach_absolute_time ticks) of sample time 0. Set under
    // StateMutex by StartIO, read under IOMutex.
    UInt64 AnchorHostTime;
    pthread_mutex_t StateMutex;
    pthread_mutex_t IOMutex;
};

extern LDriverState DriverState;

// Holds a pthread mutex for one scope. Used on every path that takes
// StateMutex or IOMutex so that an early return always unlocks.
class LMutexLocker {
public:
    explicit LMutexLocker(pthread_mutex_t& mtx) : m_mtx(mtx) { pthread_mutex_lock(&m_mtx); }
    ~LMutexLocker() { pthread_mutex_unlock(&m_mtx); }
    LMutexLocker(const LMutexLocker&) = delete;
    LMutexLocker& operator=(const LMutexLocker&) = delete;

private:
    pthread_mutex_t& m_mtx;
};

// True when pDriver is the driver reference this bundle handed out.
inline bool LIsDriverRef(const void* pDriver) { return pDriver != nullptr && pDriver == DriverState.DriverRef; }

} // namespace harlune::driver

#endif
