#include "host/LHostIO.h"

#include <mach/mach_time.h>
#include <pthread.h>
#include <sched.h>
#include <time.h>

#include <algorithm>
#include <condition_variable>
#include <vector>

namespace harlune::host {
namespace {

// The device's output stream, which the write mix goes to.
constexpr AudioObjectID kOutputStreamID = 8;

void SleepUntilHostTime(UInt64 qwHostTime) {
    // mach_absolute_time counts nanoseconds of CLOCK_MONOTONIC, time base 1/1.
    timespec ts;
    ts.tv_sec = static_cast<time_t>(qwHostTime / 1000000000ull);
    ts.tv_nsec = static_cast<long>(qwHostTime % 1000000000ull);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &ts, nullptr) == EINTR) {
    }
}

} // namespace

LHostIO::LHostIO(AudioServerPlugInDriverRef driver, AudioObjectID dwDeviceID)
    : m_driver(driver), m_dwDeviceID(dwDeviceID) {}

LHostIO::~LHostIO() { Stop(); }

OSStatus LHostIO::Start(const LHostIOOptions& options) {
    if (m_bRunning.load() || options.dwFramesPerCycle == 0 || m_driver == nullptr) {
        return kAudioHardwareIllegalOperationError;
    }
    const OSStatus status = (*m_driver)->StartIO(m_driver, m_dwDeviceID, options.dwClientID);
    if (status != kAudioHardwareNoError) {
        return status;
    }
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_options = options;
        m_stats = LHostIOStats();
        m_bDone = false;
    }
    m_bStop = false;
    m_bRunning = true;
    m_thread = std::thread([this] { Run(); });
    return kAudioHardwareNoError;
}

void LHostIO::Stop() {
    if (!m_bRunning.exchange(false)) {
        return;
    }
    m_bStop = true;
    if (m_thread.joinable()) {
        m_thread.join();
    }
    (*m_driver)->StopIO(m_driver, m_dwDeviceID, m_options.dwClientID);
}

bool LHostIO::WaitUntilDone(std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(m_mtx);
    return m_cv.wait_for(lock, timeout, [this] { return m_bDone; });
}

LHostIOStats LHostIO::Stats() {
    std::lock_guard<std::mutex> lock(m_mtx);
    return m_stats;
}

LHostIOOptions LHostIO::Options() {
    std::lock_guard<std::mutex> lock(m_mtx);
    return m_options;
}

void LHostIO::SendBoundary() {
    if (m_bRunning.load() || m_driver == nullptr) {
        return;
    }
    Float32 arSilence[2] = {0.0f, 0.0f}; // a valid address; no frame of it is sent
    AudioServerPlugInIOCycleInfo info = {};
    AudioServerPlugInDriverInterface* const pEntries = *m_driver;
    const UInt32 dwClient = m_options.dwClientID;
    pEntries->BeginIOOperation(m_driver, m_dwDeviceID, dwClient, kAudioServerPlugInIOOperationWriteMix, 0, &info);
    pEntries->DoIOOperation(m_driver, m_dwDeviceID, kOutputStreamID, dwClient, kAudioServerPlugInIOOperationWriteMix, 0,
                            &info, arSilence, nullptr);
    pEntries->EndIOOperation(m_driver, m_dwDeviceID, dwClient, kAudioServerPlugInIOOperationWriteMix, 0, &info);
}

Float64 LHostIO::HostTicksPerFrame() {
    // The audio server derives the clock's rate from the device's nominal
    // sample rate; 44100 when the device does not answer it.
    const AudioObjectPropertyAddress address = {kAudioDevicePropertyNominalSampleRate,
                                                kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain};
    Float64 fRate = 0.0;
    UInt32 dwSize = 0;
    if ((*m_driver)->GetPropertyData(m_driver, m_dwDeviceID, 0, &address, 0, nullptr, sizeof fRate, &dwSize,
                                     &fRate) != kAudioHardwareNoError ||
        dwSize != sizeof fRate || !(fRate > 0.0)) {
        fRate = 44100.0;
    }
    mach_timebase_info_data_t timebase = {1, 1};
    mach_timebase_info(&timebase);
    return static_cast<Float64>(timebase.denom) / static_cast<Float64>(timebase.numer) * 1e9 / fRate;
}

void LHostIO::Run() {
    const LHostIOOptions options = Options();
    // The audio server runs IO threads at real-time priority, so that the
    // threads they wake (an XPC writer, a recorder) run after the cycle
    // instead of preempting it. Without the privilege for it the thread
    // keeps its normal priority.
    if (options.bPaced) {
        sched_param param = {};
        param.sched_priority = sched_get_priority_min(SCHED_FIFO) + 10;
        pthread_setschedparam(pthread_self(), SCHED_FIFO, &param);
    }
    const UInt32 dwFrames = options.dwFramesPerCycle;
    const Float64 fTicksPerFrame = HostTicksPerFrame();
    std::vector<Float32> buffer(static_cast<std::size_t>(dwFrames) * 2, 0.0f);
    AudioServerPlugInDriverInterface* const pEntries = *m_driver;

    Boolean bWillWriteMix = false;
    Boolean bInPlace = true;
    pEntries->WillDoIOOperation(m_driver, m_dwDeviceID, options.dwClientID, kAudioServerPlugInIOOperationWriteMix,
                                &bWillWriteMix, &bInPlace);

    AudioServerPlugInIOCycleInfo info = {};
    info.mNominalIOBufferFrameSize = dwFrames;
    info.mDeviceHostTicksPerFrame = fTicksPerFrame;

    LHostIOStats stats;
    for (UInt64 qwCycle = 0; !m_bStop.load(std::memory_order_relaxed); ++qwCycle) {
        if (options.nMaxCycles != 0 && qwCycle >= options.nMaxCycles) {
            break;
        }
        const UInt64 qwFirstFrame = qwCycle * dwFrames;
        if (options.nTotalFrames != 0 && qwFirstFrame >= options.nTotalFrames) {
            break;
        }
        const UInt32 dwCycleFrames =
            options.nTotalFrames == 0 ? dwFrames
                                      : static_cast<UInt32>(std::min<UInt64>(dwFrames, options.nTotalFrames - qwFirstFrame));
        Float64 fZeroSampleTime = 0.0;
        UInt64 qwZeroHostTime = 0;
        UInt64 qwSeed = 0;
        OSStatus status = pEntries->GetZeroTimeStamp(m_driver, m_dwDeviceID, options.dwClientID, &fZeroSampleTime,
                                                     &qwZeroHostTime, &qwSeed);
        const Float64 fSampleTime = static_cast<Float64>(qwCycle) * dwFrames;
        const UInt64 qwCycleHostTime =
            qwZeroHostTime + static_cast<UInt64>(std::max(0.0, (fSampleTime - fZeroSampleTime) * fTicksPerFrame));
        if (options.bPaced && status == kAudioHardwareNoError) {
            const UInt64 qwNow = mach_absolute_time();
            if (qwCycleHostTime > qwNow) {
                SleepUntilHostTime(qwCycleHostTime);
            } else if (qwNow - qwCycleHostTime > static_cast<UInt64>(dwFrames * fTicksPerFrame)) {
                ++stats.nLateCycles;
            }
        }
        if (options.fill) {
            options.fill(buffer.data(), dwCycleFrames, qwCycle);
        }

        info.mIOCycleCounter = qwCycle;
        info.mOutputTime.mSampleTime = fSampleTime;
        info.mOutputTime.mHostTime = qwCycleHostTime;
        info.mOutputTime.mRateScalar = 1.0;
        info.mOutputTime.mFlags = kAudioTimeStampSampleHostTimeValid | kAudioTimeStampRateScalarValid;
        info.mCurrentTime = info.mOutputTime;
        info.mCurrentTime.mHostTime = mach_absolute_time();

        const UInt64 qwBegin = mach_absolute_time();
        OSStatus arStatus[3] = {0, 0, 0};
        if (bWillWriteMix) {
            arStatus[0] = pEntries->BeginIOOperation(m_driver, m_dwDeviceID, options.dwClientID,
                                                     kAudioServerPlugInIOOperationWriteMix, dwCycleFrames, &info);
            arStatus[1] = pEntries->DoIOOperation(m_driver, m_dwDeviceID, kOutputStreamID,
                                                  options.dwClientID, kAudioServerPlugInIOOperationWriteMix, dwCycleFrames,
                                                  &info, buffer.data(), nullptr);
            arStatus[2] = pEntries->EndIOOperation(m_driver, m_dwDeviceID, options.dwClientID,
                                                   kAudioServerPlugInIOOperationWriteMix, dwCycleFrames, &info);
        }
        const UInt64 qwSpan = mach_absolute_time() - qwBegin;
        if (options.onCycle) {
            options.onCycle(qwSpan);
        }

        stats.nCycles = qwCycle + 1;
        stats.qwLongestCycleNs = std::max(stats.qwLongestCycleNs, qwSpan);
        for (OSStatus s : arStatus) {
            if (s != kAudioHardwareNoError) {
                ++stats.nFailedCalls;
                stats.lastError = s;
            }
        }
        if (status != kAudioHardwareNoError) {
            ++stats.nFailedCalls;
            stats.lastError = status;
        }
        // Publishing the figures every cycle keeps Stats() current for a
        // watching caller; the lock is the host's own, never the driver's.
        std::lock_guard<std::mutex> lock(m_mtx);
        m_stats = stats;
    }
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_stats = stats;
        m_bDone = true;
    }
    m_cv.notify_all();
}

} // namespace harlune::host
