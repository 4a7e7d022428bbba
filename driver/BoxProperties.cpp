// The box (ID 2): it exists so that the device can be acquired and
// released; while it is acquired the device is published.
#include "driver/DriverObjects.h"
#include "driver/PropertyChanges.h"
#include "driver/PropertyRows.h"

#include <iterator>

namespace harlune::driver {
namespace {

OSStatus Name(const LPropertyCall&, LPropertyWriter& writer) {
    if (!writer.Fits(sizeof(CFStringRef))) {
        return kAudioHardwareBadPropertySizeError;
    }
    // The caller's retain is added under the lock, so a concurrent rename
    // cannot free the name between the read and the retain.
    LMutexLocker lock(DriverState.StateMutex);
    CFStringRef name = DriverState.BoxName;
    if (name != nullptr) {
        CFRetain(name);
    }
    return writer.PutCFType(name);
}

OSStatus ModelName(const LPropertyCall&, LPropertyWriter& writer) { return writer.PutCFType(CFSTR("Null Model")); }
OSStatus Manufacturer(const LPropertyCall&, LPropertyWriter& writer) {
    return writer.PutCFType(CFSTR("Apple Inc."));
}
OSStatus SerialNumber(const LPropertyCall&, LPropertyWriter& writer) { return writer.PutCFType(CFSTR("00000001")); }
OSStatus FirmwareVersion(const LPropertyCall&, LPropertyWriter& writer) { return writer.PutCFType(CFSTR("1.0")); }
OSStatus BoxUID(const LPropertyCall&, LPropertyWriter& writer) {
    // The box and the device share one UID.
    return writer.PutCFType(CFSTR("HarluneVirtualAudioDevice_UID"));
}

OSStatus Acquired(const LPropertyCall&, LPropertyWriter& writer) {
    if (!writer.Fits(sizeof(UInt32))) {
        return kAudioHardwareBadPropertySizeError;
    }
    LMutexLocker lock(DriverState.StateMutex);
    return writer.PutUInt32(DriverState.BoxAcquired.load() ? 1 : 0);
}

OSStatus DeviceListSize(const LPropertyCall&, UInt32* pdwSize) {
    LMutexLocker lock(DriverState.StateMutex);
    *pdwSize = DriverState.BoxAcquired.load() ? 4 : 0;
    return kAudioHardwareNoError;
}

OSStatus DeviceList(const LPropertyCall&, LPropertyWriter& writer) {
    // Unlike the plug-in's device list, this one reports a short buffer.
    LMutexLocker lock(DriverState.StateMutex);
    if (!DriverState.BoxAcquired.load()) {
        return writer.PutList<AudioObjectID>(nullptr, 0);
    }
    return writer.PutUInt32(DeviceObject);
}

const LPropertyRow kRows[] = {
    LRow(kAudioObjectPropertyBaseClass, 4, LAnswerUInt32<kAudioObjectClassID>),
    LRow(kAudioObjectPropertyClass, 4, LAnswerUInt32<kAudioBoxClassID>),
    LRow(kAudioObjectPropertyOwner, 4, LAnswerUInt32<kAudioObjectPlugInObject>),
    LSettableRow(kAudioObjectPropertyName, 8, Name, LSetBoxName),
    LRow(kAudioObjectPropertyModelName, 8, ModelName),
    LRow(kAudioObjectPropertyManufacturer, 8, Manufacturer),
    // The box owns nothing, although its device list holds the device.
    LRow(kAudioObjectPropertyOwnedObjects, 0u, LAnswerEmptyList),
    LSettableRow(kAudioObjectPropertyIdentify, 4, LAnswerUInt32<0>, LSetBoxIdentify),
    LRow(kAudioObjectPropertySerialNumber, 8, SerialNumber),
    LRow(kAudioObjectPropertyFirmwareVersion, 8, FirmwareVersion),
    LRow(kAudioBoxPropertyBoxUID, 8, BoxUID),
    LRow(kAudioBoxPropertyTransportType, 4, LAnswerUInt32<kAudioDeviceTransportTypeVirtual>),
    LRow(kAudioBoxPropertyHasAudio, 4, LAnswerUInt32<1>),
    LRow(kAudioBoxPropertyHasVideo, 4, LAnswerUInt32<0>),
    LRow(kAudioBoxPropertyHasMIDI, 4, LAnswerUInt32<0>),
    LRow(kAudioBoxPropertyIsProtected, 4, LAnswerUInt32<0>),
    LSettableRow(kAudioBoxPropertyAcquired, 4, Acquired, LSetBoxAcquired),
    LRow(kAudioBoxPropertyAcquisitionFailed, 4, LAnswerUInt32<0>),
    LRow(kAudioBoxPropertyDeviceList, DeviceListSize, DeviceList),
};

} // namespace

const LPropertyTable& LBoxPropertyTable() {
    static const LPropertyTable table = {kRows, std::size(kRows)};
    return table;
}

} // namespace harlune::driver
