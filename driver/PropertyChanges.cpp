#include "driver/PropertyChanges.h"

#include "driver/DriverObjects.h"
#include "driver/DriverState.h"
#include "driver/PropertyNotices.h"
#include "driver/PropertyRows.h"
#include "driver/VolumeCurve.h"
#include "helperlink/LVADPluginXPCClient.h"

#include <cmath>
#include <cstring>

namespace harlune::driver {
namespace {

// How long after a set of the box's identify property it is announced, in
// nanoseconds: the time a user looks for the blinking hardware.
constexpr UInt64 kIdentifyDelayNs = 2000000000ull;

// Size check first, then the pointer: the order in which callers learn what
// is wrong with a call.
OSStatus CheckData(UInt32 dwDataSize, const void* pData, UInt32 dwRequired) {
    if (dwDataSize != dwRequired) {
        return kAudioHardwareBadPropertySizeError;
    }
    return pData == nullptr ? kAudioHardwareIllegalOperationError : kAudioHardwareNoError;
}

template <typename T>
T ReadValue(const void* pData) {
    T value;
    std::memcpy(&value, pData, sizeof value);
    return value;
}

// Asks for the rate unless it is the current one; true when it was asked for.
bool RequestSampleRate(Float64 fRate) {
    if (LReadLocked(DriverState.SampleRate) == fRate) {
        return false;
    }
    LQueueSampleRateChangeRequest(static_cast<UInt64>(fRate));
    return true;
}

// Stores a new volume scalar and forwards it to the helper client.
OSStatus StoreVolume(Float32 fScalar) {
    {
        LMutexLocker lock(DriverState.StateMutex);
        if (DriverState.OutputVolume == fScalar) {
            return kAudioHardwareNoError;
        }
        DriverState.OutputVolume = fScalar;
        // Under the lock, so two racing changes reach the application in the
        // order they were stored. The client never waits and never calls back.
        if (LVADPluginXPCClient* pClient = LVADPluginXPCClient::GetInstance()) {
            pClient->SendVolumeChanged(static_cast<double>(fScalar));
        }
    }
    LNotifyPropertiesChanged(OutputVolumeControl,
                             {kAudioLevelControlPropertyScalarValue, kAudioLevelControlPropertyDecibelValue});
    return kAudioHardwareNoError;
}

// Stores a boolean field; notifies when it changed.
OSStatus StoreFlag(bool& bField, bool bValue, AudioObjectID dwObjectID, AudioObjectPropertySelector dwSelector) {
    {
        LMutexLocker lock(DriverState.StateMutex);
        if (bField == bValue) {
            return kAudioHardwareNoError;
        }
        bField = bValue;
    }
    LNotifyPropertiesChanged(dwObjectID, {dwSelector});
    return kAudioHardwareNoError;
}

} // namespace

OSStatus LSetPlugInCustomProperty(const LPropertyCall& call, UInt32 dwDataSize, const void* pData) {
    if (call.pQualifier == nullptr || call.dwQualifierSize != sizeof(CFTypeRef) || dwDataSize != sizeof(CFTypeRef)) {
        return kAudioHardwareBadPropertySizeError;
    }
    if (pData == nullptr) {
        return kAudioHardwareIllegalOperationError;
    }
    // The property stores nothing: a set only shows what it was given.
    LShowReferencedObject(call.pQualifier);
    LShowReferencedObject(pData);
    return kAudioHardwareNoError;
}

OSStatus LSetBoxName(const LPropertyCall&, UInt32 dwDataSize, const void* pData) {
    if (const OSStatus status = CheckData(dwDataSize, pData, sizeof(CFStringRef)); status != 0) {
        return status;
    }
    CFStringRef newName = ReadValue<CFStringRef>(pData);
    if (newName != nullptr && CFGetTypeID(newName) != CFStringGetTypeID()) {
        return kAudioHardwareIllegalOperationError;
    }
    {
        LMutexLocker lock(DriverState.StateMutex);
        // Retain first, so setting the current name never frees it.
        if (newName != nullptr) {
            CFRetain(newName);
        }
        if (DriverState.BoxName != nullptr) {
            CFRelease(DriverState.BoxName);
        }
        DriverState.BoxName = newName;
    }
    LNotifyPropertiesChanged(BoxObject, {kAudioObjectPropertyName});
    return kAudioHardwareNoError;
}

OSStatus LSetBoxIdentify(const LPropertyCall&, UInt32 dwDataSize, const void*) {
    // The value is not looked at, so a null pointer is no error here.
    if (dwDataSize != sizeof(UInt32)) {
        return kAudioHardwareBadPropertySizeError;
    }
    LQueuePropertyChangedAfter(BoxObject, kAudioObjectPropertyIdentify, kIdentifyDelayNs);
    return kAudioHardwareNoError;
}

OSStatus LSetBoxAcquired(const LPropertyCall&, UInt32 dwDataSize, const void* pData) {
    if (const OSStatus status = CheckData(dwDataSize, pData, sizeof(UInt32)); status != 0) {
        return status;
    }
    const bool bAcquired = ReadValue<UInt32>(pData) != 0;
    {
        LMutexLocker lock(DriverState.StateMutex);
        if (DriverState.BoxAcquired.load() == bAcquired) {
            return kAudioHardwareNoError;
        }
        DriverState.BoxAcquired = bAcquired;
        AudioServerPlugInHostRef pHost = DriverState.Host;
        if (pHost != nullptr && pHost->WriteToStorage != nullptr) {
            pHost->WriteToStorage(pHost, CFSTR("box acquired"), bAcquired ? kCFBooleanTrue : kCFBooleanFalse);
        }
        LQueuePropertyChanged(kAudioObjectPlugInObject, kAudioPlugInPropertyDeviceList);
    }
    LNotifyPropertiesChanged(BoxObject, {kAudioBoxPropertyAcquired, kAudioBoxPropertyDeviceList});
    return kAudioHardwareNoError;
}

OSStatus LSetNominalSampleRate(const LPropertyCall&, UInt32 dwDataSize, const void* pData) {
    if (const OSStatus status = CheckData(dwDataSize, pData, sizeof(Float64)); status != 0) {
        return status;
    }
    const Float64 fRate = ReadValue<Float64>(pData);
    if (!LIsSupportedSampleRate(fRate)) {
        return kAudioHardwareIllegalOperationError;
    }
    if (RequestSampleRate(fRate)) {
        // At once, before the host has performed the change: a read until
        // then still answers the old rate.
        LNotifyPropertiesChanged(DeviceObject, {kAudioDevicePropertyNominalSampleRate});
    }
    return kAudioHardwareNoError;
}

OSStatus LSetStreamFormat(const LPropertyCall&, UInt32 dwDataSize, const void* pData) {
    if (const OSStatus status = CheckData(dwDataSize, pData, sizeof(AudioStreamBasicDescription)); status != 0) {
        return status;
    }
    const auto format = ReadValue<AudioStreamBasicDescription>(pData);
    // Field by field in this order; mReserved is not looked at.
    if (format.mFormatID != kAudioFormatLinearPCM ||
        format.mFormatFlags != (kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked) || format.mBytesPerPacket != 8 ||
        format.mFramesPerPacket != 1 || format.mBytesPerFrame != BytesPerFrame ||
        format.mChannelsPerFrame != kChannelCount || format.mBitsPerChannel != 32) {
        return kAudioDeviceUnsupportedFormatError;
    }
    if (!LIsSupportedSampleRate(format.mSampleRate)) {
        return kAudioHardwareIllegalOperationError;
    }
    RequestSampleRate(format.mSampleRate);
    return kAudioHardwareNoError;
}

OSStatus LSetStreamActive(const LPropertyCall&, UInt32 dwDataSize, const void* pData) {
    if (const OSStatus status = CheckData(dwDataSize, pData, sizeof(UInt32)); status != 0) {
        return status;
    }
    return StoreFlag(DriverState.StreamActive, ReadValue<UInt32>(pData) != 0, OutputStreamObject,
                     kAudioStreamPropertyIsActive);
}

OSStatus LSetVolumeScalar(const LPropertyCall&, UInt32 dwDataSize, const void* pData) {
    if (const OSStatus status = CheckData(dwDataSize, pData, sizeof(Float32)); status != 0) {
        return status;
    }
    const Float32 fValue = ReadValue<Float32>(pData);
    if (std::isnan(fValue)) {
        return kAudioHardwareIllegalOperationError;
    }
    return StoreVolume(fValue < 0.0f ? 0.0f : (fValue > 1.0f ? 1.0f : fValue));
}

OSStatus LSetVolumeDecibels(const LPropertyCall&, UInt32 dwDataSize, const void* pData) {
    if (const OSStatus status = CheckData(dwDataSize, pData, sizeof(Float32)); status != 0) {
        return status;
    }
    const Float32 fValue = ReadValue<Float32>(pData);
    if (std::isnan(fValue)) {
        return kAudioHardwareIllegalOperationError;
    }
    return StoreVolume(DecibelsToScalar(fValue));
}

OSStatus LSetMute(const LPropertyCall&, UInt32 dwDataSize, const void* pData) {
    if (const OSStatus status = CheckData(dwDataSize, pData, sizeof(UInt32)); status != 0) {
        return status;
    }
    // The mute stays with the device: the helper link never hears of it.
    return StoreFlag(DriverState.OutputMute, ReadValue<UInt32>(pData) != 0, OutputMuteControl,
                     kAudioBooleanControlPropertyValue);
}

OSStatus LSetSelectorItem(const LPropertyCall& call, UInt32 dwDataSize, const void* pData) {
    if (const OSStatus status = CheckData(dwDataSize, pData, sizeof(UInt32)); status != 0) {
        return status;
    }
    const UInt32 dwItem = ReadValue<UInt32>(pData);
    if (dwItem > 3) {
        return kAudioHardwareIllegalOperationError;
    }
    {
        LMutexLocker lock(DriverState.StateMutex);
        UInt32& dwField = call.dwObjectID == OutputDataSourceControl ? DriverState.DataSourceItem
                                                                     : DriverState.DataDestinationItem;
        if (dwField == dwItem) {
            return kAudioHardwareNoError;
        }
        dwField = dwItem;
    }
    LNotifyPropertiesChanged(call.dwObjectID, {kAudioSelectorControlPropertyCurrentItem});
    return kAudioHardwareNoError;
}

} // namespace harlune::driver
