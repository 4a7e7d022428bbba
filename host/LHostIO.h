// LHostIO.h: runs a device's IO cycle the way the audio server does.
//
// Start() calls StartIO, asks WillDoIOOperation about the write mix and
// starts one IO thread. Each cycle the thread reads the zero time stamp,
// (when paced) sleeps until the host time of the cycle's first sample on
// the device's time line, has the caller's fill function write the mixed
// output, and calls BeginIOOperation, DoIOOperation (write mix, output
// stream 8) and EndIOOperation. Stop() ends the thread and calls StopIO.
//
// Unpaced, cycles follow each other as fast as the driver takes them (tests
// and benchmarks). Stop() is prompt: a paced cycle sleeps at most one cycle.
// Thread safety: Start, Stop and Stats may be called from any thread, but
// Start and Stop must not race each other (LHost serialises them).
#ifndef HARLUNE_HOST_LHOSTIO_H
#define HARLUNE_HOST_LHOSTIO_H

#include <CoreAudio/AudioServerPlugIn.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace harlune::host {

// Fills one cycle's output: dwFrames interleaved stereo Float32 frames for
// the cycle numbered qwCycle (0 is the first after Start); dwFrames is the
// cycle size, except for a last cycle shortened by nTotalFrames. Runs on the IO
// thread; the buffer is valid only during the call.
using LHostIOFill = std::function<void(Float32* pfFrames, UInt32 dwFrames, UInt64 qwCycle)>;

struct LHostIOOptions {
    UInt32 dwFramesPerCycle = 512; // frames per IO cycle
    bool bPaced = true;            // real time from the zero time stamps, or as fast as possible
    UInt64 nMaxCycles = 0;         // stop after this many cycles; 0 runs until Stop()
    // When not 0: stop once this many frames have been written, the last
    // cycle handing the driver only the frames that are left (as a player
    // does at the end of a stream), so nothing after the end is sent.
    UInt64 nTotalFrames = 0;
    UInt32 dwClientID = 1;         // the IO client ID handed to the driver
    LHostIOFill fill;              // null: silence
    // Called on the IO thread after each cycle with the time the driver's
    // three IO calls took, in nanoseconds (for benchmarks); may be null.
    std::function<void(UInt64 qwCycleNs)> onCycle;
};

struct LHostIOStats {
    UInt64 nCycles = 0;           // cycles completed since Start
    UInt64 nFailedCalls = 0;      // driver IO calls that returned an error
    OSStatus lastError = 0;       // the last such error
    UInt64 qwLongestCycleNs = 0;  // longest Begin..End span, nanoseconds
    UInt64 nLateCycles = 0;       // paced cycles that woke more than a cycle after their time
};

class LHostIO {
public:
    LHostIO(AudioServerPlugInDriverRef driver, AudioObjectID dwDeviceID);
    ~LHostIO();
    LHostIO(const LHostIO&) = delete;
    LHostIO& operator=(const LHostIO&) = delete;

    // Starts IO; returns the driver's StartIO status (or 'nope' when already
    // running or the frame count is 0), and starts no thread on failure.
    OSStatus Start(const LHostIOOptions& options);
    // Stops the IO thread and calls StopIO; does nothing when not running.
    void Stop();
    bool IsRunning() const { return m_bRunning.load(); }
    // Waits until a run with nMaxCycles has done its cycles (or Stop ran).
    bool WaitUntilDone(std::chrono::milliseconds timeout);
    LHostIOStats Stats();
    // The options of the current or last run.
    LHostIOOptions Options();
    // Hands the driver a write mix of zero frames while IO is stopped. The
    // plug-in forwards it as an empty "AUDIO_DATA" message on the same
    // ordered connection as the audio, so a recorder learns exactly where
    // the buffers of a configuration end (see LDevicePublication.h). Call
    // only while the IO thread is not running.
    void SendBoundary();

private:
    void Run();
    Float64 HostTicksPerFrame();

    AudioServerPlugInDriverRef m_driver;
    AudioObjectID m_dwDeviceID;
    LHostIOOptions m_options;
    std::thread m_thread;
    std::atomic<bool> m_bRunning{false}; // between a successful Start and Stop
    std::atomic<bool> m_bStop{false};    // asks the IO thread to end
    std::mutex m_mtx;                    // guards m_stats, m_bDone
    std::condition_variable m_cv;
    bool m_bDone = false;                // the IO thread has ended
    LHostIOStats m_stats;
};

} // namespace harlune::host

#endif
