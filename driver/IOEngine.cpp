#include "driver/IOEngine.h"

#include "driver/DriverObjects.h"
#include "driver/DriverState.h"
#include "driver/ZeroTimeStamp.h"
#include "helperlink/LVADPluginXPCClient.h"

#include <mach/mach_time.h>

namespace harlune::driver {
namespace {

bool IsDevice(AudioServerPlugInDriverRef pDriver, AudioObjectID dwDeviceObjectID) {
    return LIsDriverRef(pDriver) && dwDeviceObjectID == DeviceObject;
}

} // namespace

OSStatus LDriverStartIO(AudioServerPlugInDriverRef pDriver, AudioObjectID dwDeviceObjectID, UInt32) {
    if (!IsDevice(pDriver, dwDeviceObjectID)) {
        return kAudioHardwareBadObjectError;
    }
    // Every start that finds no application connection asks again, and does
    // so before any driver lock is taken.
    LVADPluginXPCClient* pClient = LVADPluginXPCClient::GetInstance();
    if (pClient != nullptr && !pClient->IsAppConnected()) {
        pClient->ConnectToApp();
    }

    LMutexLocker lock(DriverState.StateMutex);
    if (DriverState.IORunningCount == 0xFFFFFFFFFFFFFFFFull) {
        return kAudioHardwareIllegalOperationError;
    }
    if (DriverState.IORunningCount == 0) {
        // Safe without IOMutex: no IO thread of the device runs while the
        // count is 0, so nobody reads the clock state concurrently.
        DriverState.IORunningCount = 1;
        DriverState.TimeStampCount = 0;
        DriverState.AnchorHostTime = mach_absolute_time();
    } else {
        ++DriverState.IORunningCount;
    }
    return kAudioHardwareNoError;
}

OSStatus LDriverStopIO(AudioServerPlugInDriverRef pDriver, AudioObjectID dwDeviceObjectID, UInt32) {
    if (!IsDevice(pDriver, dwDeviceObjectID)) {
        return kAudioHardwareBadObjectError;
    }
    LMutexLocker lock(DriverState.StateMutex);
    if (DriverState.IORunningCount == 0) {
        return kAudioHardwareIllegalOperationError;
    }
    --DriverState.IORunningCount;
    return kAudioHardwareNoError;
}

OSStatus LDriverGetZeroTimeStamp(AudioServerPlugInDriverRef pDriver, AudioObjectID dwDeviceObjectID, UInt32,
                                 Float64* pfSampleTime, UInt64* pqwHostTime, UInt64* pqwSeed) {
    if (!IsDevice(pDriver, dwDeviceObjectID)) {
        return kAudioHardwareBadObjectError;
    }
    // Checked before the clock moves, so a failing call changes nothing.
    if (pfSampleTime == nullptr || pqwHostTime == nullptr || pqwSeed == nullptr) {
        return kAudioHardwareIllegalOperationError;
    }
    LMutexLocker lock(DriverState.IOMutex);
    const UInt64 qwNow = mach_absolute_time();
    const LZeroTimeStamp stamp =
        LAdvanceZeroTimeStamp(&DriverState.TimeStampCount, DriverState.AnchorHostTime,
                              DriverState.HostTicksPerFrame.load(std::memory_order_relaxed), qwNow);
    *pfSampleTime = stamp.fSampleTime;
    *pqwHostTime = stamp.qwHostTime;
    *pqwSeed = 1;
    return kAudioHardwareNoError;
}

OSStatus LDriverWillDoIOOperation(AudioServerPlugInDriverRef pDriver, AudioObjectID dwDeviceObjectID, UInt32,
                                  UInt32 dwOperationID, Boolean* pbWillDo, Boolean* pbWillDoInPlace) {
    if (!IsDevice(pDriver, dwDeviceObjectID)) {
        return kAudioHardwareBadObjectError;
    }
    const bool bWillDo = dwOperationID == kAudioServerPlugInIOOperationWriteMix ||
                         dwOperationID == kAudioServerPlugInIOOperationReadInput;
    if (pbWillDo != nullptr) {
        *pbWillDo = bWillDo;
    }
    if (pbWillDoInPlace != nullptr) {
        *pbWillDoInPlace = true;
    }
    return kAudioHardwareNoError;
}

OSStatus LDriverBeginIOOperation(AudioServerPlugInDriverRef pDriver, AudioObjectID dwDeviceObjectID, UInt32, UInt32,
                                 UInt32, const AudioServerPlugInIOCycleInfo*) {
    return IsDevice(pDriver, dwDeviceObjectID) ? kAudioHardwareNoError : kAudioHardwareBadObjectError;
}

OSStatus LDriverDoIOOperation(AudioServerPlugInDriverRef pDriver, AudioObjectID dwDeviceObjectID,
                              AudioObjectID dwStreamObjectID, UInt32, UInt32 dwOperationID,
                              UInt32 dwIOBufferFrameSize, const AudioServerPlugInIOCycleInfo*, void* pMainBuffer,
                              void*) {
    if (!IsDevice(pDriver, dwDeviceObjectID) || dwStreamObjectID != OutputStreamObject) {
        return kAudioHardwareBadObjectError;
    }
    if (dwOperationID != kAudioServerPlugInIOOperationWriteMix) {
        return kAudioHardwareNoError;
    }
    LVADPluginXPCClient* pClient = LVADPluginXPCClient::GetInstance();
    if (pClient != nullptr && pClient->IsAppConnected()) {
        // Computed in 32 bits and handed on as a signed count, as the helper
        // client's interface takes it; the audio server's buffers are far
        // below the sizes where that would wrap.
        const UInt32 dwByteCount = dwIOBufferFrameSize * BytesPerFrame;
        pClient->SendAudioData(pMainBuffer, static_cast<int>(dwByteCount));
    }
    return kAudioHardwareNoError;
}

OSStatus LDriverEndIOOperation(AudioServerPlugInDriverRef pDriver, AudioObjectID dwDeviceObjectID, UInt32, UInt32,
                               UInt32, const AudioServerPlugInIOCycleInfo*) {
    return IsDevice(pDriver, dwDeviceObjectID) ? kAudioHardwareNoError : kAudioHardwareBadObjectError;
}

} // namespace harlune::driver
