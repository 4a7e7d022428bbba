// The plug-in object (ID 1): the root of the object tree. It lists the box
// and, while the box is acquired, the device, and translates the device's
// UID to the box and the device.
#include "driver/DriverObjects.h"
#include "driver/PropertyChanges.h"
#include "driver/PropertyRows.h"

#include <cstdio>
#include <iterator>

namespace harlune::driver {
namespace {

// The plug-in's own lists read the one-byte acquired state without the lock:
// a change racing with a read yields the old or the new list, and the host
// is told to read again.
bool BoxAcquired() { return DriverState.BoxAcquired.load(std::memory_order_relaxed); }

OSStatus OwnedObjectsSize(const LPropertyCall&, UInt32* pdwSize) {
    *pdwSize = BoxAcquired() ? 8 : 4;
    return kAudioHardwareNoError;
}

OSStatus OwnedObjects(const LPropertyCall&, LPropertyWriter& writer) {
    static constexpr AudioObjectID arOwned[] = {BoxObject, DeviceObject};
    return LAnswerIDs(writer, arOwned, BoxAcquired() ? 2 : 1);
}

OSStatus BoxList(const LPropertyCall&, LPropertyWriter& writer) {
    static constexpr AudioObjectID arBoxes[] = {BoxObject};
    return LAnswerIDs(writer, arBoxes);
}

OSStatus DeviceListSize(const LPropertyCall&, UInt32* pdwSize) {
    *pdwSize = BoxAcquired() ? 4 : 0;
    return kAudioHardwareNoError;
}

OSStatus DeviceList(const LPropertyCall&, LPropertyWriter& writer) {
    static constexpr AudioObjectID arDevices[] = {DeviceObject};
    return LAnswerIDs(writer, arDevices, BoxAcquired() ? 1 : 0);
}

// Translates the CFString the qualifier points at: dwMatch when it is the
// device's UID (compared exactly, case included), kAudioObjectUnknown else.
OSStatus TranslateUID(const LPropertyCall& call, LPropertyWriter& writer, AudioObjectID dwMatch) {
    if (call.dwQualifierSize != sizeof(CFStringRef) || call.pQualifier == nullptr || !writer.Fits(sizeof(UInt32))) {
        return kAudioHardwareBadPropertySizeError;
    }
    CFStringRef uid = *static_cast<const CFStringRef*>(call.pQualifier);
    const bool bMatch = uid != nullptr && CFGetTypeID(uid) == CFStringGetTypeID() &&
                        CFStringCompare(uid, CFSTR("HarluneVirtualAudioDevice_UID"), 0) == kCFCompareEqualTo;
    return writer.PutUInt32(bMatch ? dwMatch : kAudioObjectUnknown);
}

OSStatus TranslateUIDToBox(const LPropertyCall& call, LPropertyWriter& writer) {
    return TranslateUID(call, writer, BoxObject);
}

OSStatus TranslateUIDToDevice(const LPropertyCall& call, LPropertyWriter& writer) {
    return TranslateUID(call, writer, DeviceObject);
}

OSStatus Manufacturer(const LPropertyCall&, LPropertyWriter& writer) {
    return writer.PutCFType(CFSTR("Zental Works."));
}

OSStatus ResourceBundle(const LPropertyCall&, LPropertyWriter& writer) {
    // The resources live in the plug-in's own bundle.
    return writer.PutCFType(CFSTR(""));
}

OSStatus CustomPropertyInfoList(const LPropertyCall&, LPropertyWriter& writer) {
    const AudioServerPlugInCustomPropertyInfo info = {'PCst', kAudioServerPlugInCustomPropertyDataTypeCFString,
                                                      kAudioServerPlugInCustomPropertyDataTypeCFPropertyList};
    return writer.Put(info);
}

bool HasCustomQualifier(const LPropertyCall& call) {
    return call.dwQualifierSize == sizeof(CFPropertyListRef) && call.pQualifier != nullptr;
}

OSStatus CustomPropertySize(const LPropertyCall& call, UInt32* pdwSize) {
    if (!HasCustomQualifier(call)) {
        return kAudioHardwareBadPropertySizeError;
    }
    LShowReferencedObject(call.pQualifier);
    *pdwSize = sizeof(CFStringRef);
    return kAudioHardwareNoError;
}

OSStatus CustomProperty(const LPropertyCall& call, LPropertyWriter& writer) {
    if (!HasCustomQualifier(call) || !writer.Fits(sizeof(CFStringRef))) {
        return kAudioHardwareBadPropertySizeError;
    }
    LShowReferencedObject(call.pQualifier);
    return writer.PutCFType(CFSTR("NullAudio PlugIn Custom Property"));
}

const LPropertyRow kRows[] = {
    LRow(kAudioObjectPropertyBaseClass, 4, LAnswerUInt32<kAudioObjectClassID>),
    LRow(kAudioObjectPropertyClass, 4, LAnswerUInt32<kAudioPlugInClassID>),
    LRow(kAudioObjectPropertyOwner, 4, LAnswerUInt32<kAudioObjectUnknown>),
    LRow(kAudioObjectPropertyManufacturer, 8, Manufacturer),
    LRow(kAudioObjectPropertyOwnedObjects, OwnedObjectsSize, OwnedObjects),
    LRow(kAudioPlugInPropertyBoxList, 4, BoxList),
    LRow(kAudioPlugInPropertyTranslateUIDToBox, 4, TranslateUIDToBox),
    LRow(kAudioPlugInPropertyDeviceList, DeviceListSize, DeviceList),
    LRow(kAudioPlugInPropertyTranslateUIDToDevice, 4, TranslateUIDToDevice),
    LRow(kAudioPlugInPropertyResourceBundle, 8, ResourceBundle),
    LRow(kAudioObjectPropertyCustomPropertyInfoList, 12, CustomPropertyInfoList),
    LSettableRow('PCst', CustomPropertySize, CustomProperty, LSetPlugInCustomProperty),
};

} // namespace

void LShowReferencedObject(const void* pReference) {
    CFTypeRef object = *static_cast<const CFTypeRef*>(pReference);
    if (object == nullptr) {
        std::fputs("(null)\n", stderr);
        return;
    }
    CFShow(object);
}

const LPropertyTable& LPlugInPropertyTable() {
    static const LPropertyTable table = {kRows, std::size(kRows)};
    return table;
}

} // namespace harlune::driver
