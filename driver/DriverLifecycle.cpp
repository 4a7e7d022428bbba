#include "driver/DriverLifecycle.h"

#include "driver/DriverObjects.h"
#include "driver/DriverState.h"
#include "helperlink/LVADPluginXPCClient.h"

#include <mach/mach_time.h>

namespace harlune::driver {
namespace {

// The storage key of the box's acquired state; the only key this driver writes.
CFStringRef BoxAcquiredKey() { return CFSTR("box acquired"); }

// Reads the box's acquired state from host storage. A CFBoolean is taken as
// it is; a CFNumber is read as a 32-bit integer, not 0 meaning acquired; any
// other value, or none, leaves the state as it was.
void ReadBoxAcquired(AudioServerPlugInHostRef pHost) {
    if (pHost == nullptr || pHost->CopyFromStorage == nullptr) {
        return;
    }
    CFPropertyListRef value = nullptr;
    pHost->CopyFromStorage(pHost, BoxAcquiredKey(), &value);
    if (value == nullptr) {
        return;
    }
    if (CFGetTypeID(value) == CFBooleanGetTypeID()) {
        DriverState.BoxAcquired = CFBooleanGetValue(static_cast<CFBooleanRef>(value));
    } else if (CFGetTypeID(value) == CFNumberGetTypeID()) {
        SInt32 nValue = 0;
        CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt32Type, &nValue);
        DriverState.BoxAcquired = nValue != 0;
    }
    CFRelease(value);
}

// Reads the box's name. The name has no storage key of its own: the box's
// acquired state is asked for a second time and taken as the name only if it
// is a string, which the stored boolean never is. So every run starts with
// "Null Box", and a renamed box is not remembered across loads; keeping the
// acquired state the only persisted value keeps the storage format stable.
void ReadBoxName(AudioServerPlugInHostRef pHost) {
    if (pHost != nullptr && pHost->CopyFromStorage != nullptr) {
        CFPropertyListRef value = nullptr;
        pHost->CopyFromStorage(pHost, BoxAcquiredKey(), &value);
        if (value != nullptr) {
            if (CFGetTypeID(value) == CFStringGetTypeID()) {
                CFStringRef previous = DriverState.BoxName;
                DriverState.BoxName = static_cast<CFStringRef>(CFRetain(value));
                if (previous != nullptr) {
                    CFRelease(previous);
                }
            }
            CFRelease(value);
        }
    }
    if (DriverState.BoxName == nullptr) {
        DriverState.BoxName = CFSTR("Null Box");
    }
}

bool IsDevice(AudioServerPlugInDriverRef pDriver, AudioObjectID dwObjectID) {
    return LIsDriverRef(pDriver) && dwObjectID == DeviceObject;
}

} // namespace

Float64 LComputeHostTicksPerFrame(Float64 fSampleRate) {
    mach_timebase_info_data_t timebase = {0, 0};
    mach_timebase_info(&timebase);
    if (timebase.numer == 0 || timebase.denom == 0 || fSampleRate <= 0.0) {
        return 0.0;
    }
    return (static_cast<Float64>(timebase.denom) / static_cast<Float64>(timebase.numer)) * 1000000000.0 /
           fSampleRate;
}

HRESULT LDriverQueryInterface(void* pDriver, REFIID uuid, LPVOID* ppInterface) {
    if (!LIsDriverRef(pDriver)) {
        return kAudioHardwareBadObjectError;
    }
    if (ppInterface == nullptr) {
        return kAudioHardwareIllegalOperationError;
    }
    CFUUIDRef requested = CFUUIDCreateFromUUIDBytes(nullptr, uuid);
    if (requested == nullptr) {
        return kAudioHardwareIllegalOperationError;
    }
    HRESULT hResult = E_NOINTERFACE;
    if (CFEqual(requested, IUnknownUUID) || CFEqual(requested, kAudioServerPlugInDriverInterfaceUUID)) {
        {
            LMutexLocker lock(DriverState.StateMutex);
            // The count saturates like AddRef's, so a runaway caller cannot wrap it to 0.
            if (DriverState.RefCount < 0xFFFFFFFFu) {
                ++DriverState.RefCount;
            }
        }
        *ppInterface = DriverState.DriverRef;
        hResult = S_OK;
    }
    CFRelease(requested);
    return hResult;
}

ULONG LDriverAddRef(void* pDriver) {
    if (!LIsDriverRef(pDriver)) {
        return 0;
    }
    LMutexLocker lock(DriverState.StateMutex);
    if (DriverState.RefCount < 0xFFFFFFFFu) {
        ++DriverState.RefCount;
    }
    return DriverState.RefCount;
}

ULONG LDriverRelease(void* pDriver) {
    if (!LIsDriverRef(pDriver)) {
        return 0;
    }
    LMutexLocker lock(DriverState.StateMutex);
    if (DriverState.RefCount > 0) {
        --DriverState.RefCount;
    }
    return DriverState.RefCount;
}

OSStatus LDriverInitialize(AudioServerPlugInDriverRef pDriver, AudioServerPlugInHostRef pHost) {
    if (!LIsDriverRef(pDriver)) {
        return kAudioHardwareBadObjectError;
    }
    // The audio server calls Initialize before any entry that reads these
    // fields, so they are written without StateMutex.
    DriverState.Host = pHost;
    ReadBoxAcquired(pHost);
    ReadBoxName(pHost);
    DriverState.HostTicksPerFrame = LComputeHostTicksPerFrame(DriverState.SampleRate);

    // No driver lock is held here: connecting starts XPC work.
    if (LVADPluginXPCClient* pClient = LVADPluginXPCClient::GetInstance()) {
        pClient->Connect();
    }
    return kAudioHardwareNoError;
}

OSStatus LDriverCreateDevice(AudioServerPlugInDriverRef pDriver, CFDictionaryRef, const AudioServerPlugInClientInfo*,
                             AudioObjectID*) {
    return LIsDriverRef(pDriver) ? kAudioHardwareUnsupportedOperationError : kAudioHardwareBadObjectError;
}

OSStatus LDriverDestroyDevice(AudioServerPlugInDriverRef pDriver, AudioObjectID) {
    return LIsDriverRef(pDriver) ? kAudioHardwareUnsupportedOperationError : kAudioHardwareBadObjectError;
}

OSStatus LDriverAddDeviceClient(AudioServerPlugInDriverRef pDriver, AudioObjectID dwDeviceObjectID,
                                const AudioServerPlugInClientInfo*) {
    return IsDevice(pDriver, dwDeviceObjectID) ? kAudioHardwareNoError : kAudioHardwareBadObjectError;
}

OSStatus LDriverRemoveDeviceClient(AudioServerPlugInDriverRef pDriver, AudioObjectID dwDeviceObjectID,
                                   const AudioServerPlugInClientInfo*) {
    return IsDevice(pDriver, dwDeviceObjectID) ? kAudioHardwareNoError : kAudioHardwareBadObjectError;
}

OSStatus LDriverPerformDeviceConfigurationChange(AudioServerPlugInDriverRef pDriver, AudioObjectID dwDeviceObjectID,
                                                 UInt64 qwChangeAction, void*) {
    // An unsupported rate is answered with the same code as a wrong object.
    if (!IsDevice(pDriver, dwDeviceObjectID) || (qwChangeAction != 44100 && qwChangeAction != 48000)) {
        return kAudioHardwareBadObjectError;
    }
    const Float64 fNewRate = static_cast<Float64>(qwChangeAction);
    const Float64 fTicksPerFrame = LComputeHostTicksPerFrame(fNewRate);
    LMutexLocker lock(DriverState.StateMutex);
    DriverState.SampleRate = fNewRate;
    DriverState.HostTicksPerFrame = fTicksPerFrame;
    return kAudioHardwareNoError;
}

OSStatus LDriverAbortDeviceConfigurationChange(AudioServerPlugInDriverRef pDriver, AudioObjectID dwDeviceObjectID,
                                               UInt64, void*) {
    return IsDevice(pDriver, dwDeviceObjectID) ? kAudioHardwareNoError : kAudioHardwareBadObjectError;
}

} // namespace harlune::driver
